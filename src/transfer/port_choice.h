#pragma once

// The list of serial ports that the wizard offers (lbPorts): which port
// numbers are tried, which entry is checked first, and the single choice
// among its check boxes. The window shows it and forwards the person's
// checks.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mi {

class PortChoice {
 public:
  // FillPortList: ports 1 to `highest` whose number does not occur in
  // `excluded` and that `available` accepts (all of them, untested, when
  // `highest` is 0 or less: then 1 to 16), in ascending order; the entry of
  // `remembered` is checked, else the first one. False when the list stays
  // empty (the caller then shows message 1215).
  bool Fill(std::string_view excluded, int16_t highest, int16_t remembered,
            const std::function<bool(int16_t)>& available);

  // lbPorts_ItemCheck: the person checked entry `index`; every other entry
  // is unchecked. An index past the end leaves no entry checked.
  void Check(size_t index);

  // The port numbers of the entries, in list order.
  const std::vector<int16_t>& ports() const { return ports_; }
  // The checked entry, when one is.
  const std::optional<size_t>& checked() const { return checked_; }
  // The port of the checked entry, when one is.
  std::optional<int16_t> CheckedPort() const;

  // The text of the entry of `port`: "COM:" and the number.
  static std::string EntryText(int16_t port);

 private:
  std::vector<int16_t> ports_;
  std::optional<size_t> checked_;
};

}  // namespace mi
