#pragma once

// The module's pictures: its own SVG drawings, one per catalogue meter
// (MeterID + 100) and one per meter's wizard steps (MeterID + 1100), built
// into the program as resources, and the control that shows one sharp at any
// size.

#include <QtCore/QByteArray>
#include <QtWidgets/QWidget>

#include <optional>

class QSvgRenderer;

namespace mi {

// The drawing numbered `id`; nullopt when the module has none.
std::optional<QByteArray> PictureResource(int id);

// Shows a drawing scaled to fit, keeping its proportions.
class PictureBox : public QWidget {
  Q_OBJECT

 public:
  explicit PictureBox(QWidget* parent = nullptr);
  ~PictureBox() override;

  // Shows drawing `id`; a number without a drawing leaves the picture as it
  // is and gives false. The drawing is read when it is first painted, so
  // that a window shows up without waiting for its pictures.
  bool LoadPicture(int id);
  // The number of the drawing shown; 0 for none.
  int picture() const { return picture_; }

  QSize sizeHint() const override { return {160, 200}; }

 protected:
  void paintEvent(QPaintEvent* event) override;

 private:
  QByteArray drawing_;
  QSvgRenderer* renderer_ = nullptr;  // made from drawing_ when first painted
  int picture_ = 0;
};

}  // namespace mi
