#pragma once

// The wizard window's timing and receive operations on its serial port:
// waitMs, waitIn, read_otbuf and check_reading. The window exposes them as
// public methods by delegation; nothing in the transfer uses them (the meter
// is read through the meter communication control).
//
// The waits process pending events on every pass, so the window's cancel
// button (which sets the cancel flag) is handled inside them. waitIn and
// read_otbuf have no overall time limit: they end when the data has arrived
// or the cancel flag is set, and only then.

#include <cstdint>
#include <string>
#include <string_view>

#include "common/wait.h"
#include "serial/serial_port.h"

namespace mi {

// What check_reading works out of one answer.
struct ReadingCheck {
  std::string transmitted;  // the two characters after the end delimiter
  std::string body;         // the characters between the two delimiters
  std::string sum_hex;      // the computed sum as upper-case hexadecimal
};

// The delimiters that frame an answer; the second end delimiter is looked
// for only when the first does not occur. The window never assigns them, so
// they stay empty.
struct ReadingDelimiters {
  std::string start;
  std::string end;
  std::string second_end;
};

// The parts of `answer` and the sum of the codes of all its characters but
// the last, in an unsigned 8-bit sum that does not wrap: a character whose
// addition would take the sum above 255 is left out.
ReadingCheck ExamineReading(std::string_view answer, const ReadingDelimiters& delimiters = {});

class SerialLink {
 public:
  // `cancel` is the window's cancel flag (true = -1); it is read, never set.
  // Without a clock and pump the process-wide ones are used, looked up at
  // each call (the window layer installs its pump after start-up).
  SerialLink(SerialPort& port, const int16_t& cancel);
  SerialLink(SerialPort& port, const int16_t& cancel, MillisecondClock& clock, EventPump& pump);

  // Waits `anzahl` milliseconds, processing events; 0 processes them once.
  void waitMs(int16_t anzahl);

  // Sets the port's InputLen to `anzahl`, then waits `TimeOut` milliseconds
  // (at least once) and again until `anzahl` characters are waiting or the
  // cancel flag is set, and returns one Input read. TimeOut is rounded to a
  // whole number; a count or interval that does not fit its integer type is
  // not applied (InputLen stays, the wait is left out).
  std::string waitIn(double anzahl, double TimeOut);

  // Reads and collects until the text holds both a carriage return and
  // "I " (in any order), or the cancel flag is set, yielding to the event
  // pump after each read; returns the text up to its first NUL.
  std::string read_otbuf();

  // Works out the answer's checksum (ExamineReading) and compares nothing:
  // the result is always 0, so it never rejects a damaged answer.
  int16_t check_reading(const std::string& answer);

  // The delimiters that check_reading looks for; empty unless set.
  ReadingDelimiters delimiters;

 private:
  MillisecondClock& Clock() const;
  EventPump& Pump() const;
  bool Cancelled() const { return cancel_ != 0; }

  SerialPort& port_;
  const int16_t& cancel_;
  MillisecondClock* clock_ = nullptr;
  EventPump* pump_ = nullptr;
};

}  // namespace mi
