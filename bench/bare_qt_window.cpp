// The smallest Qt widget program that shows a window: the yardstick against
// which bench/wizard_start.sh measures how long the module takes to show its
// wizard.

#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setApplicationName("bare_qt_window");
  QLabel window("A bare window");
  window.resize(640, 420);
  window.show();
  return QApplication::exec();
}
