#pragma once

// The list of serial ports that the wizard offers: which port numbers are
// tried, which entry is preselected, and the single choice among its check
// boxes.

#include <cstdint>
#include <functional>
#include <string_view>

class QListWidget;

namespace mi {

// The item data role under which an entry keeps its port number.
inline constexpr int kPortRole = 0x0100;  // Qt::UserRole

// FillPortList: ports 1 to `highest` whose number does not occur in
// `excluded` and that `available` accepts (all of them, untested, when
// `highest` is 0 or less: then 1 to 16), as "COM:" + n with n as item data;
// the entry of `remembered` is checked, else the first one. Returns false
// when the list stays empty (the caller then shows message 1215).
bool FillPortList(QListWidget* list, std::string_view excluded, int16_t highest, int16_t remembered,
                  const std::function<bool(int16_t)>& available);

// lbPorts_ItemCheck: checking entry `index` unchecks every other one. Runs
// once per change: the unchecking raises the event again, and `guard` keeps
// that from doing anything.
void KeepSingleCheck(QListWidget* list, int index, bool& guard);

// The port of the first checked entry, when one is checked.
bool CheckedPort(const QListWidget* list, int16_t& port);

}  // namespace mi
