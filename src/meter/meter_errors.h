#pragma once

// The run-time errors of the meter layer. A failing call on the meter
// communication control, a date text that does not convert and a value out
// of range while decoding each raise one of these; the decoders stop at the
// record where it happens and leave what they filled before.

#include <cstdint>
#include <stdexcept>
#include <string>

namespace mi {

class MeterRunTimeError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// A control call that came back with the error flag set, named after the
// control's interface and the method ("{C8367F72-...} method 36 (get data
// record) failed").
class MeterControlError : public MeterRunTimeError {
 public:
  MeterControlError(int method, const std::string& what)
      : MeterRunTimeError(what), method_(method) {}
  int method() const { return method_; }

 private:
  int method_;
};

// A date or time text of the meter that does not make a date.
class DateConversionError : public MeterRunTimeError {
 public:
  using MeterRunTimeError::MeterRunTimeError;
};

// An index outside its table, a 16-bit overflow or a division by zero while
// decoding.
class DecodeRangeError : public MeterRunTimeError {
 public:
  using MeterRunTimeError::MeterRunTimeError;
};

}  // namespace mi
