#pragma once

// The module's pictures: its own SVG drawings, one per catalogue meter
// (MeterID + 100) and one per meter's wizard steps (MeterID + 1100), built
// into the program as resources, and the control that shows one sharp at any
// size.

#include <QtCore/QByteArray>
#include <QtGui/QImage>
#include <QtWidgets/QWidget>

#include <future>
#include <optional>

namespace mi {

// The drawing numbered `id`; nullopt when the module has none.
std::optional<QByteArray> PictureResource(int id);

// `drawing` scaled to fit `pixels` (a device pixel ratio of `ratio`), keeping
// its proportions, centred on a clear ground; a null image when it cannot be
// read. Safe on any thread.
QImage RenderPicture(const QByteArray& drawing, QSize pixels, qreal ratio);

// Shows a drawing scaled to fit, keeping its proportions.
class PictureBox : public QWidget {
  Q_OBJECT

 public:
  explicit PictureBox(QWidget* parent = nullptr);
  ~PictureBox() override;

  // Shows drawing `id`; a number without a drawing leaves the picture as it
  // is and gives false. The drawing is rendered on a thread of its own as
  // soon as the box has its size (a meter's drawing, with its texts as
  // outlines, costs more than the rest of a window together), so that
  // painting it only copies the image.
  bool LoadPicture(int id);
  // The number of the drawing shown; 0 for none.
  int picture() const { return picture_; }

  QSize sizeHint() const override { return {160, 200}; }

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;

 private:
  // Starts rendering the drawing at the box's size, unless that is under way
  // or done.
  void Prepare();

  QByteArray drawing_;
  int picture_ = 0;
  struct Rendering {
    int picture;
    QSize pixels;
    qreal ratio;
    std::shared_future<QImage> image;
  };
  std::optional<Rendering> rendering_;
};

}  // namespace mi
