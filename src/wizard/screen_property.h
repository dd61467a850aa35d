#pragma once

// What the wizard shows, told to whoever looks at its window from outside
// (the tests that drive the real program by keystrokes, a tool that watches
// it). On X11 the window carries two properties ("xprop -id WINDOW"):
// _METERIMPORT_SCREEN, the screen shown ("intro", "port", "switch-on",
// "reading", "transfer", "writing", "result", "cancelling"), and
// _METERIMPORT_ACTIVE, "1" while the window is the active one and takes the
// keys (Return, Escape), "0" otherwise.

#include "transfer/wizard_flow.h"

class QWidget;

namespace mi {

inline constexpr const char* kScreenProperty = "_METERIMPORT_SCREEN";
inline constexpr const char* kActiveProperty = "_METERIMPORT_ACTIVE";

// The name under which _METERIMPORT_SCREEN tells `screen`.
const char* ScreenName(WizardScreen screen);

// Sets _METERIMPORT_SCREEN to `screen`'s name on `window`'s native window
// when it has one on X11; elsewhere (another windowing system, a window not
// created yet) nothing.
void TellScreen(QWidget* window, WizardScreen screen);

// Keeps _METERIMPORT_ACTIVE of `window` up to date from now on.
void TellActivation(QWidget* window);

}  // namespace mi
