#include "transfer/port_choice.h"

namespace mi {
namespace {

// Without the test every number up to this one is listed.
constexpr int16_t kUntestedHighest = 16;

}  // namespace

bool PortChoice::Fill(std::string_view excluded, int16_t highest, int16_t remembered,
                      const std::function<bool(int16_t)>& available) {
  ports_.clear();
  checked_.reset();
  const bool test = highest > 0;
  const int16_t last = test ? highest : kUntestedHighest;
  for (int16_t n = 1; n <= last; ++n) {
    // A plain search: with "12" excluded, ports 1, 2 and 12 are all left out.
    if (excluded.find(std::to_string(n)) != std::string_view::npos) continue;
    if (test && !available(n)) continue;
    if (n == remembered) checked_ = ports_.size();
    ports_.push_back(n);
  }
  if (!checked_ && !ports_.empty()) checked_ = 0;
  return checked_.has_value();
}

void PortChoice::Check(size_t index) {
  checked_.reset();
  if (index < ports_.size()) checked_ = index;
}

std::optional<int16_t> PortChoice::CheckedPort() const {
  if (!checked_) return std::nullopt;
  return ports_[*checked_];
}

std::string PortChoice::EntryText(int16_t port) {
  return "COM:" + std::to_string(port);
}

}  // namespace mi
