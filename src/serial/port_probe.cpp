#include "serial/port_probe.h"

#include <fcntl.h>
#include <grp.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>

#include "common/conversions.h"
#include "common/settings_store.h"
#include "common/text_helpers.h"

namespace mi {
namespace {

namespace fs = std::filesystem;

// The devices "<dev>/<prefix>N", ordered by N.
std::vector<fs::path> NumberedDevices(const fs::path& dev, std::string_view prefix) {
  std::vector<std::pair<long, fs::path>> found;
  std::error_code ec;
  for (const auto& entry : fs::directory_iterator(dev, ec)) {
    const std::string name = entry.path().filename().string();
    if (name.size() <= prefix.size() || name.compare(0, prefix.size(), prefix) != 0) continue;
    const std::string digits = name.substr(prefix.size());
    if (digits.find_first_not_of("0123456789") != std::string::npos) continue;
    found.emplace_back(std::stol(digits), entry.path());
  }
  std::sort(found.begin(), found.end());
  std::vector<fs::path> devices;
  devices.reserve(found.size());
  for (auto& [number, path] : found) devices.push_back(std::move(path));
  return devices;
}

// A built-in port has hardware behind it when the kernel knows a driver for
// its device, or the serial core reports a port type other than unknown (0).
bool HasHardware(const SerialSystem& system, const std::string& name) {
  std::error_code ec;
  const fs::path tty = system.sys_tty / name;
  if (fs::exists(tty / "device" / "driver", ec)) {
    const std::string driver = fs::read_symlink(tty / "device" / "driver", ec).filename().string();
    // The legacy 8250 platform device stands behind every unused ttyS name.
    if (!ec && driver != "serial8250") return true;
  }
  std::ifstream type(tty / "type");
  int port_type = 0;
  return type >> port_type && port_type != 0;
}

// An open that fails: the device is not there, or may not be opened by this
// user, or something else holds it (busy, or an error of the device).
PortState StateOfFailedOpen(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
    case ENXIO:
    case ENODEV:
      return PortState::kMissing;
    case EACCES:
    case EPERM:
      return PortState::kNoPermission;
    default:
      return PortState::kInUse;
  }
}

bool LockedByLiveProcess(const SerialSystem& system, const std::string& name) {
  for (const auto& folder : system.lock_dirs) {
    std::ifstream lock(folder / ("LCK.." + name));
    if (!lock) continue;
    // Lock files hold the owner's process number as text (or as 4 binary
    // bytes in old programs); any readable number that is alive counts.
    std::string content((std::istreambuf_iterator<char>(lock)), std::istreambuf_iterator<char>());
    long pid = static_cast<long>(LeadingNumber(content));
    if (pid <= 0 && content.size() == 4) {
      int32_t binary = 0;
      std::copy(content.begin(), content.end(), reinterpret_cast<char*>(&binary));
      pid = binary;
    }
    if (pid <= 0) return true;  // a lock file we cannot read: respect it
    if (::kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM) return true;
  }
  return false;
}

}  // namespace

std::vector<fs::path> SystemSerialDevices(const SerialSystem& system) {
  std::vector<fs::path> devices = NumberedDevices(system.dev, "ttyUSB");
  for (auto& device : NumberedDevices(system.dev, "ttyACM")) devices.push_back(std::move(device));
  for (auto& device : NumberedDevices(system.dev, "ttyS")) {
    if (HasHardware(system, device.filename().string())) devices.push_back(std::move(device));
  }
  return devices;
}

std::optional<fs::path> PortDevice(SettingsStore& settings, int16_t port,
                                   const SerialSystem& system) {
  if (port <= 0) return std::nullopt;
  const std::string wanted = "COM" + std::to_string(port);
  if (auto values = settings.hive(Root::kMachine).Values(kSerialCommKey)) {
    for (const auto& value : *values) {
      std::string text;
      if (settings.ReadSetting(Root::kMachine, kSerialCommKey, value.name, text) &&
          EqualsNoCase(text, wanted) && !value.name.empty()) {
        return fs::path(value.name);
      }
    }
  }
  const auto devices = SystemSerialDevices(system);
  if (static_cast<size_t>(port) > devices.size()) return std::nullopt;
  return devices[static_cast<size_t>(port) - 1];
}

PortState DeviceState(const fs::path& device, const SerialSystem& system) {
  const int fd = ::open(device.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
  if (fd < 0) return StateOfFailedOpen(errno);
  const bool free = ::flock(fd, LOCK_EX | LOCK_NB) == 0;
  ::close(fd);  // also drops the flock
  if (!free) return PortState::kInUse;
  std::error_code ec;
  const fs::path real = fs::canonical(device, ec);
  const std::string name = (ec ? device : real).filename().string();
  const bool locked = LockedByLiveProcess(system, name) ||
                      (name != device.filename().string() &&
                       LockedByLiveProcess(system, device.filename().string()));
  return locked ? PortState::kInUse : PortState::kAvailable;
}

PortProbe ProbePort(SettingsStore& settings, std::string_view meter_key, int16_t port,
                    int16_t force, const SerialSystem& system) {
  int16_t test = kTrue;
  if (!meter_key.empty() && force <= 0) {
    const std::string value = settings.ReadMachine(meter_key, "TestPorts", "1");
    if (auto flag = ToBool16(value)) test = *flag;
  }
  if (test == kFalse) return {PortState::kAvailable, {}};
  PortProbe probe;
  if (auto device = PortDevice(settings, port, system)) {
    probe.device = std::move(*device);
    probe.state = DeviceState(probe.device, system);
  }
  return probe;
}

std::string SerialGroup(const fs::path& device) {
  struct stat info {};
  if (::stat(device.c_str(), &info) == 0 && info.st_gid != 0 &&
      (info.st_mode & (S_IRGRP | S_IWGRP)) == (S_IRGRP | S_IWGRP)) {
    // getgrgid_r's buffer: the size the system suggests, else a generous one.
    const long suggested = ::sysconf(_SC_GETGR_R_SIZE_MAX);
    std::vector<char> buffer(suggested > 0 ? static_cast<size_t>(suggested) : 16384);
    struct group entry {};
    struct group* found = nullptr;
    if (::getgrgid_r(info.st_gid, &entry, buffer.data(), buffer.size(), &found) == 0 &&
        found != nullptr && found->gr_name != nullptr && *found->gr_name != '\0') {
      return found->gr_name;
    }
  }
  return "dialout";
}

}  // namespace mi
