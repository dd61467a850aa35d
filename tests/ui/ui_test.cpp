// The common window ground: localisation from the language module, the event
// pump behind the waits.

#include <gtest/gtest.h>

#include <QtCore/QTimer>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QTabWidget>

#include "common/language.h"
#include "common/wait.h"
#include "ui/event_pump.h"
#include "ui/localise.h"

namespace mi {
namespace {

// A widget with a design text, a tag and a tool tip.
template <typename T>
T* Tagged(QWidget* parent, const char* text, const char* tag, const char* tip = "") {
  auto* widget = new T(parent);
  widget->setText(text);
  widget->setToolTip(tip);
  widget->setProperty(kTagProperty, tag);
  return widget;
}

TEST(LocaliseForm, TakesTaggedTextsCaptionAndToolTipAndKeepsTheRest) {
  const LanguageModule language = LanguageModule::Parse(
      "1=Window\n2=&Next >|Go on\n3=Only a caption\n4=|only a tip\n5=A label\n"
      "6=General|Insulin|Events\n");
  QWidget window;
  window.setProperty(kTagProperty, "L1");
  auto* label = Tagged<QLabel>(&window, "Beschriftung", "L5");
  // Each widget's text and tool tip afterwards, as "text|tip".
  const std::pair<QWidget*, QString> widgets[] = {
      {Tagged<QPushButton>(&window, "Weiter", "L2"), "&Next >|Go on"},
      {Tagged<QPushButton>(&window, "Knopf", "L3", "alter Tipp"), "Only a caption|alter Tipp"},
      {Tagged<QPushButton>(&window, "Knopf", "l4"), "Knopf|"},  // lower-case l: not a tag
      {Tagged<QPushButton>(&window, "Knopf", "L4"), "Knopf|only a tip"},
      {label, "A label|"},
      {Tagged<QLabel>(&window, "Unbekannt", "L99"), "Unbekannt|"},
      {Tagged<QCheckBox>(&window, "Ohne", ""), "Ohne|"}};
  auto* tabs = new QTabWidget(&window);
  tabs->addTab(new QWidget, "&Allgemein");
  tabs->addTab(new QWidget, "&Insulin");
  tabs->setProperty(kTagProperty, "L6");

  LocaliseForm(&window, &language);
  EXPECT_EQ(window.windowTitle(), "Window");
  for (const auto& [widget, shown] : widgets) {
    EXPECT_EQ(widget->property("text").toString() + "|" + widget->toolTip(), shown);
  }
  EXPECT_EQ(tabs->tabText(1), "Insulin");
  EXPECT_EQ(tabs->count(), 2);  // a third text has no tab to go to
  EXPECT_EQ(label->font().family(), "Arial");

  // Without a language module the German texts stay; the font is still set.
  QWidget german;
  auto* kept = Tagged<QLabel>(&german, "Beschriftung", "L5");
  LocaliseForm(&german, nullptr, "tahoma");
  EXPECT_EQ(kept->text(), "Beschriftung");
  EXPECT_EQ(kept->font().family(), "tahoma");
}

// The waits process the window's events until their end, and sleep while
// there are none: a wait takes a pass or two, not one per millisecond.
TEST(QtEventPump, AWaitHandlesEventsAndSleepsBetweenThem) {
  class CountingPump : public EventPump {
   public:
    void ProcessEvents(double max_wait_ms) override {
      ++passes;
      pump.ProcessEvents(max_wait_ms);
    }
    QtEventPump pump;
    int passes = 0;
  } pump;
  int ticks = 0;
  QTimer timer;
  QObject::connect(&timer, &QTimer::timeout, [&ticks] { ++ticks; });
  timer.start(100);
  SteadyMillisecondClock clock;
  WaitMilliseconds(350, nullptr, clock, pump);
  EXPECT_GE(ticks, 2);
  EXPECT_LE(pump.passes, 3);
}

}  // namespace
}  // namespace mi
