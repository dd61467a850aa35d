#pragma once

// The wizard's serial port `meter`: a small termios port with the four
// properties that the wizard uses (PortOpen, Input, InBufferCount, InputLen).
// Nothing here throws or blocks: a failing open leaves the port closed, and
// reading a closed port gives empty text and a count of 0.

#include <cstdint>
#include <filesystem>
#include <string>

namespace mi {

// Line settings; the default is 9600 baud, 8 data bits, no parity, 1 stop bit.
// The line is always raw and without flow control.
struct LineSettings {
  int baud = 9600;
  int data_bits = 8;  // 5 to 8
  char parity = 'N';  // 'N' none, 'E' even, 'O' odd
  int stop_bits = 1;  // 1 or 2
};

// Whether the settings can be put on a line (a standard baud rate and the
// ranges above).
bool ValidLineSettings(const LineSettings& settings);

class SerialPort {
 public:
  SerialPort() = default;
  ~SerialPort();
  SerialPort(const SerialPort&) = delete;
  SerialPort& operator=(const SerialPort&) = delete;

  // The device that opening uses; a change takes effect at the next open.
  void SetDevice(std::filesystem::path device) { device_ = std::move(device); }
  const std::filesystem::path& Device() const { return device_; }

  // Invalid settings are refused (false) and the old ones kept. On an open
  // port valid settings are put on the line at once.
  bool SetSettings(const LineSettings& settings);
  const LineSettings& Settings() const { return settings_; }

  bool PortOpen() const { return fd_ >= 0; }
  // true opens the device (read and write, non-blocking, not as the
  // controlling terminal), takes an exclusive flock on it, puts the line
  // settings on it in raw mode and drops input that waited from before; any
  // failure leaves the port closed. false closes. Opening an open port and
  // closing a closed one change nothing.
  void SetPortOpen(bool open);

  // Bytes received and not yet read; 0 when the port is closed.
  int InBufferCount() const;

  // What has been received and not yet read, at most InputLen bytes when
  // InputLen is above 0. Never waits: nothing received, or a closed port,
  // gives empty text.
  std::string Input();

  // The most bytes that one Input returns; 0 means all. A negative value is
  // refused and the old one kept.
  int16_t InputLen() const { return input_len_; }
  void SetInputLen(int16_t length);

 private:
  bool ApplySettings() const;

  std::filesystem::path device_;
  LineSettings settings_;
  int16_t input_len_ = 0;
  int fd_ = -1;
};

}  // namespace mi
