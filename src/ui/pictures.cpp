#include "ui/pictures.h"

#include <QtCore/QFile>
#include <QtGui/QAccessible>
#include <QtGui/QPainter>
#include <QtSvg/QSvgRenderer>
#include <QtWidgets/QAccessibleWidget>

#include <future>

namespace mi {

std::optional<QByteArray> PictureResource(int id) {
  const bool meter = id > 100 && id < 1000;
  const QString name = meter ? QStringLiteral(":/pictures/meter-%1.svg").arg(id)
                             : QStringLiteral(":/pictures/wizard-%1.svg").arg(id);
  QFile file(name);
  if (id <= 100 || !file.open(QIODevice::ReadOnly)) return std::nullopt;
  return file.readAll();
}

namespace {

// A screen reader takes a picture box for the picture it is (its name, the
// meter's, is set by the window that shows it).
QAccessibleInterface* PictureAccessible(const QString& class_name, QObject* object) {
  if (class_name != QLatin1String("mi::PictureBox") || !object->isWidgetType()) return nullptr;
  return new QAccessibleWidget(static_cast<QWidget*>(object), QAccessible::Graphic);
}

}  // namespace

QImage RenderPicture(const QByteArray& drawing, QSize pixels, qreal ratio) {
  QSvgRenderer renderer(drawing);
  if (!renderer.isValid() || pixels.isEmpty()) return QImage();
  QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
  image.fill(Qt::transparent);
  image.setDevicePixelRatio(ratio);
  QPainter painter(&image);
  painter.setRenderHint(QPainter::Antialiasing);
  const QSizeF area = QSizeF(pixels) / ratio;
  QSizeF size = renderer.defaultSize();
  size.scale(area, Qt::KeepAspectRatio);
  renderer.render(&painter, QRectF(QPointF((area.width() - size.width()) / 2,
                                           (area.height() - size.height()) / 2),
                                   size));
  return image;
}

PictureBox::PictureBox(QWidget* parent) : QWidget(parent) {
  static const bool installed = [] {
    QAccessible::installFactory(PictureAccessible);
    return true;
  }();
  (void)installed;
  setMinimumSize(80, 100);
}

PictureBox::~PictureBox() = default;

bool PictureBox::LoadPicture(int id) {
  std::optional<QByteArray> drawing = PictureResource(id);
  if (!drawing) return false;
  drawing_ = std::move(*drawing);
  picture_ = id;
  if (testAttribute(Qt::WA_Resized) || isVisible()) Prepare();
  update();
  return true;
}

void PictureBox::Prepare() {
  if (picture_ == 0 || size().isEmpty()) return;
  const qreal ratio = devicePixelRatioF();
  const QSize pixels = (QSizeF(size()) * ratio).toSize();
  if (rendering_ && rendering_->picture == picture_ && rendering_->pixels == pixels) return;
  rendering_ = Rendering{picture_, pixels, ratio,
                         std::async(std::launch::async, RenderPicture, drawing_, pixels, ratio)};
}

void PictureBox::resizeEvent(QResizeEvent*) {
  Prepare();
}

void PictureBox::paintEvent(QPaintEvent*) {
  Prepare();  // the screen's scale may have changed
  if (!rendering_) return;
  const QImage& image = rendering_->image.get();
  if (image.isNull()) return;
  QPainter(this).drawImage(QPointF(0, 0), image);
}

}  // namespace mi
