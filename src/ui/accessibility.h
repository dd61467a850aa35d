#pragma once

// What screen readers and people with poor sight need of the windows: names
// and descriptions of the controls in the active language, taken from the
// catalogue's texts, and colours that stay readable in any palette.

#include <string>
#include <string_view>

#include <QtGui/QColor>

class QPalette;
class QWidget;

namespace mi {

// A caption without its access-key marks: "&Next >" gives "Next >", "&&"
// gives "&".
std::string WithoutAccessKey(std::string_view caption);

// The accessible name of `widget` from a catalogue text "caption|tool tip"
// (the caption without its access key), and its description from the tool
// tip part or, when there is none, from `description`. An empty text
// leaves the name as it is.
void SetAccessibleText(QWidget* widget, const std::string& text,
                       const std::string& description = "");

// The colour of a warning line (a loss) on `palette`'s window: dark red on
// a light window, light red on a dark one, in both cases with a contrast
// of at least 4.5 to 1 against the window.
QColor WarningColour(const QPalette& palette);

// The contrast ratio of two colours (1 to 21), as WCAG defines it.
double ContrastRatio(const QColor& a, const QColor& b);

}  // namespace mi
