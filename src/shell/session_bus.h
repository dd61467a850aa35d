#pragma once

// Whether the session bus is there and answers, found out before anything
// can wait on it. The status link to the host and the windowing toolkit's
// accessibility bridge both talk to the session bus, and a client of a bus
// that accepts a connection and never answers (a bus daemon that is stopped,
// a hung socket) waits minutes for its first answer; without any bus, the bus
// library would start one of its own (dbus-launch) and leave it behind. So
// the start-up asks first, with a deadline, the way every client begins: it
// connects and asks to be let in (the authentication that precedes every
// message); a bus that lets it in within the deadline is used, any other is
// no bus for the whole process.

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace mi {

// The address of the session bus as its clients find it:
// DBUS_SESSION_BUS_ADDRESS, else the socket $XDG_RUNTIME_DIR/bus when there
// is one; nullopt when there is none.
std::optional<std::string> SessionBusAddress();

enum class BusAnswer {
  kAnswers,      // it let the probe in within the deadline
  kSilent,       // connected, but no answer within the deadline
  kUnreachable,  // nothing to connect to, or it refused
  kUnknown,      // an address of a kind the probe cannot try (tcp, launchd, ...)
};

// Tries each address of `address` (";"-separated, "unix:path=..." or
// "unix:abstract=...") in turn, within `deadline` in all: connects and asks to
// be let in (AUTH EXTERNAL with the process's user), then leaves.
BusAnswer ProbeBus(std::string_view address, std::chrono::milliseconds deadline);

// The value DBUS_SESSION_BUS_ADDRESS gets when there is no usable bus: every
// client of the bus library then fails at once, without starting a bus.
inline constexpr const char* kNoSessionBus = "disabled:";

// The start-up's look at the session bus, before anything else of the
// process talks to it: without a bus, or with one that does not let the
// probe in within `deadline`, DBUS_SESSION_BUS_ADDRESS becomes kNoSessionBus
// for the whole process (and its children). True when the bus is to be used.
bool SettleSessionBus(std::chrono::milliseconds deadline);

}  // namespace mi
