#include "serial/serial_port.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace mi {
namespace {

constexpr std::pair<int, speed_t> kBaudRates[] = {
    {50, B50},       {75, B75},         {110, B110},       {134, B134},     {150, B150},
    {200, B200},     {300, B300},       {600, B600},       {1200, B1200},   {1800, B1800},
    {2400, B2400},   {4800, B4800},     {9600, B9600},     {19200, B19200}, {38400, B38400},
    {57600, B57600}, {115200, B115200}, {230400, B230400},
};

bool BaudConstant(int baud, speed_t& speed) {
  for (const auto& [rate, constant] : kBaudRates) {
    if (rate == baud) {
      speed = constant;
      return true;
    }
  }
  return false;
}

tcflag_t DataBitsFlag(int bits) {
  switch (bits) {
    case 5:
      return CS5;
    case 6:
      return CS6;
    case 7:
      return CS7;
    default:
      return CS8;
  }
}

}  // namespace

bool ValidLineSettings(const LineSettings& settings) {
  speed_t speed;
  return BaudConstant(settings.baud, speed) && settings.data_bits >= 5 && settings.data_bits <= 8 &&
         (settings.parity == 'N' || settings.parity == 'E' || settings.parity == 'O') &&
         (settings.stop_bits == 1 || settings.stop_bits == 2);
}

SerialPort::~SerialPort() {
  SetPortOpen(false);
}

bool SerialPort::SetSettings(const LineSettings& settings) {
  if (!ValidLineSettings(settings)) return false;
  settings_ = settings;
  if (PortOpen()) ApplySettings();
  return true;
}

void SerialPort::SetPortOpen(bool open) {
  if (open == PortOpen()) return;
  if (!open) {
    ::close(fd_);  // also drops the flock
    fd_ = -1;
    return;
  }
  const int fd = ::open(device_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return;
  fd_ = fd;
  // Like a COM port, the port belongs to one program at a time: the port
  // probe treats a device whose flock is taken as held.
  if (::flock(fd_, LOCK_EX | LOCK_NB) != 0 || !ApplySettings()) {
    SetPortOpen(false);
    return;
  }
  ::tcflush(fd_, TCIFLUSH);
}

bool SerialPort::ApplySettings() const {
  termios tio{};
  if (::tcgetattr(fd_, &tio) != 0) return false;  // not a terminal device
  speed_t speed = B9600;
  BaudConstant(settings_.baud, speed);
  ::cfmakeraw(&tio);
  tio.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF | IXANY);
  tio.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB | PARODD | CSTOPB | CRTSCTS);
  tio.c_cflag |= CLOCAL | CREAD | DataBitsFlag(settings_.data_bits);
  if (settings_.parity != 'N') tio.c_cflag |= PARENB;
  if (settings_.parity == 'O') tio.c_cflag |= PARODD;
  if (settings_.stop_bits == 2) tio.c_cflag |= CSTOPB;
  tio.c_cc[VMIN] = 0;
  tio.c_cc[VTIME] = 0;
  return ::cfsetispeed(&tio, speed) == 0 && ::cfsetospeed(&tio, speed) == 0 &&
         ::tcsetattr(fd_, TCSANOW, &tio) == 0;
}

int SerialPort::InBufferCount() const {
  int count = 0;
  if (!PortOpen() || ::ioctl(fd_, FIONREAD, &count) != 0) return 0;
  return std::max(count, 0);
}

std::string SerialPort::Input() {
  const int waiting = InBufferCount();
  const int wanted = input_len_ > 0 ? std::min<int>(waiting, input_len_) : waiting;
  std::string received(static_cast<size_t>(wanted), '\0');
  size_t got = 0;
  while (got < received.size()) {
    const ssize_t n = ::read(fd_, received.data() + got, received.size() - got);
    if (n > 0) {
      got += static_cast<size_t>(n);
    } else if (n < 0 && errno == EINTR) {
      continue;
    } else {
      break;  // nothing more waiting (EAGAIN), or the line is gone
    }
  }
  received.resize(got);
  return received;
}

void SerialPort::SetInputLen(int16_t length) {
  if (length >= 0) input_len_ = length;
}

}  // namespace mi
