#pragma once

// Which serial port stands for "COM n", and whether it can be offered: a port
// counts as present when it exists and no other program holds it. Nothing is
// ever sent to the port.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mi {

class SettingsStore;

// Where the serial devices and lock files are looked for; tests point these
// at folders of their own.
struct SerialSystem {
  std::filesystem::path dev = "/dev";
  std::filesystem::path sys_tty = "/sys/class/tty";
  std::vector<std::filesystem::path> lock_dirs = {"/var/lock", "/run/lock"};
};

// The machine-hive key whose values map device paths to "COM" + n.
inline constexpr const char* kSerialCommKey = "HARDWARE\\DEVICEMAP\\SERIALCOMM";

// The serial devices of the system in a stable order: USB adapters (ttyUSB*,
// then ttyACM*) first, then built-in ports (ttyS*) that have hardware behind
// them, each group by its number.
std::vector<std::filesystem::path> SystemSerialDevices(const SerialSystem& system);

// The device of COM `port`: the explicit map in the machine hive wins,
// otherwise the port-th device of SystemSerialDevices. nullopt: no such port.
std::optional<std::filesystem::path> PortDevice(SettingsStore& settings, int16_t port,
                                                const SerialSystem& system = {});

// Why a port can or cannot be offered.
enum class PortState {
  kAvailable,     // present and free (or not tested)
  kMissing,       // no such port, or no device behind its name
  kInUse,         // another program holds it (its open, a flock or a lock file)
  kNoPermission,  // this user may not open the device (EACCES, EPERM)
};

struct PortProbe {
  PortState state = PortState::kMissing;
  std::filesystem::path device;  // the device tried; empty when the port has none
};

// kAvailable when the device can be opened (read-only, non-blocking, not as
// the controlling terminal), an exclusive flock can be taken, and no live
// process holds a lock file LCK..NAME for it; otherwise why not. Never blocks.
PortState DeviceState(const std::filesystem::path& device, const SerialSystem& system = {});

// PortAvailable, with its reason: with the port test switched on (the
// meter's "TestPorts" value in the machine hive, default "1"; always on
// without a meter key or when `force` is above 0), whether COM `port` is
// present and free; with the test off, kAvailable without touching the port.
PortProbe ProbePort(SettingsStore& settings, std::string_view meter_key, int16_t port,
                    int16_t force = 0, const SerialSystem& system = {});

// The group whose members may open `device`: its own group when that group
// may read and write it and is not root's, otherwise "dialout" (the serial
// ports' group on Debian).
std::string SerialGroup(const std::filesystem::path& device);

}  // namespace mi
