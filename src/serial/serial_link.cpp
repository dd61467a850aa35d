#include "serial/serial_link.h"

#include <cstdio>

#include "common/conversions.h"

namespace mi {
namespace {

// 1-based position of `part` in `text`, 0 when it is not there; an empty
// part is found at 1 in any text but the empty one.
size_t Position(std::string_view text, std::string_view part) {
  if (text.empty()) return 0;
  const size_t found = text.find(part);
  return found == std::string_view::npos ? 0 : found + 1;
}

// `length` characters from the 1-based position `from`; a position before
// the text or a negative length gives nothing.
std::string Middle(std::string_view text, long from, long length) {
  if (from < 1 || length < 0 || static_cast<size_t>(from) > text.size()) return {};
  return std::string(text.substr(static_cast<size_t>(from) - 1, static_cast<size_t>(length)));
}

}  // namespace

ReadingCheck ExamineReading(std::string_view answer, const ReadingDelimiters& delimiters) {
  ReadingCheck check;
  const long start = static_cast<long>(Position(answer, delimiters.start));
  long end = static_cast<long>(Position(answer, delimiters.end));
  long end_length = static_cast<long>(delimiters.end.size());
  if (end == 0) {
    end = static_cast<long>(Position(answer, delimiters.second_end));
    end_length = static_cast<long>(delimiters.second_end.size());
  }
  const long start_length = static_cast<long>(delimiters.start.size());
  if (end > 0) {
    check.transmitted = Middle(answer, end + end_length, 2);
    if (start > 0) check.body = Middle(answer, start + start_length, end - start - start_length);
  }

  uint8_t sum = 0;
  for (size_t i = 0; i + 1 < answer.size(); ++i) {
    const unsigned code = static_cast<unsigned char>(answer[i]);
    if (sum + code <= 255) sum = static_cast<uint8_t>(sum + code);
  }
  char hex[4];
  std::snprintf(hex, sizeof hex, "%X", static_cast<unsigned>(sum));
  check.sum_hex = hex;
  return check;
}

SerialLink::SerialLink(SerialPort& port, const int16_t& cancel) : port_(port), cancel_(cancel) {}

SerialLink::SerialLink(SerialPort& port, const int16_t& cancel, MillisecondClock& clock,
                       EventPump& pump)
    : port_(port), cancel_(cancel), clock_(&clock), pump_(&pump) {}

MillisecondClock& SerialLink::Clock() const {
  return clock_ != nullptr ? *clock_ : DefaultMillisecondClock();
}

EventPump& SerialLink::Pump() const {
  return pump_ != nullptr ? *pump_ : DefaultEventPump();
}

void SerialLink::waitMs(int16_t anzahl) {
  WaitMilliseconds(static_cast<float>(anzahl), nullptr, Clock(), Pump());
}

std::string SerialLink::waitIn(double anzahl, double TimeOut) {
  if (const auto length = RoundToInt16(anzahl)) port_.SetInputLen(*length);
  const auto interval = RoundToInt32(TimeOut);
  while (true) {
    if (interval) WaitMilliseconds(static_cast<float>(*interval), nullptr, Clock(), Pump());
    if (port_.InBufferCount() >= anzahl || Cancelled()) break;
  }
  return port_.Input();
}

std::string SerialLink::read_otbuf() {
  std::string buffer;
  const auto complete = [&buffer] {
    return buffer.find('\r') != std::string::npos && buffer.find("I ") != std::string::npos;
  };
  // No pause and no time limit: only the answer or the cancel flag ends this.
  while (!complete() && !Cancelled()) {
    buffer += port_.Input();
    Pump().ProcessEvents(0);
  }
  const size_t nul = buffer.find('\0');
  if (nul != std::string::npos) buffer.resize(nul);
  return buffer;
}

int16_t SerialLink::check_reading(const std::string& answer) {
  ExamineReading(answer, delimiters);  // the sum is worked out, then compared with nothing
  return 0;
}

}  // namespace mi
