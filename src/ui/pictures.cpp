#include "ui/pictures.h"

#include <QtCore/QFile>
#include <QtGui/QAccessible>
#include <QtGui/QPainter>
#include <QtSvg/QSvgRenderer>
#include <QtWidgets/QAccessibleWidget>

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
  delete renderer_;
  renderer_ = nullptr;
  picture_ = id;
  update();
  return true;
}

void PictureBox::paintEvent(QPaintEvent*) {
  if (picture_ == 0) return;
  if (renderer_ == nullptr) renderer_ = new QSvgRenderer(drawing_, this);
  if (!renderer_->isValid()) return;
  QPainter painter(this);
  painter.setRenderHint(QPainter::Antialiasing);
  QSizeF size = renderer_->defaultSize();
  size.scale(QSizeF(this->size()), Qt::KeepAspectRatio);
  const QRectF target(QPointF((width() - size.width()) / 2, (height() - size.height()) / 2), size);
  renderer_->render(&painter, target);
}

}  // namespace mi
