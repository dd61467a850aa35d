#include "ui/accessibility.h"

#include <QtGui/QPalette>
#include <QtWidgets/QWidget>

#include <cmath>
#include <vector>

#include "common/text_helpers.h"
#include "ui/localise.h"

namespace mi {
namespace {

double Luminance(const QColor& colour) {
  const auto linear = [](double channel) {
    return channel <= 0.03928 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
  };
  return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
         0.0722 * linear(colour.blueF());
}

}  // namespace

std::string WithoutAccessKey(std::string_view caption) {
  std::string plain;
  plain.reserve(caption.size());
  for (size_t i = 0; i < caption.size(); ++i) {
    if (caption[i] == '&') {
      // The mark goes and the character it marks stays ("&&" keeps one).
      if (++i == caption.size()) break;
    }
    plain += caption[i];
  }
  return plain;
}

void SetAccessibleText(QWidget* widget, const std::string& text, const std::string& description) {
  std::vector<std::string> parts;
  if (SplitText(text, parts, '|') < 0) return;
  if (!parts[0].empty()) widget->setAccessibleName(Q(WithoutAccessKey(parts[0])));
  const std::string& tip = parts.size() > 1 && !parts[1].empty() ? parts[1] : description;
  if (!tip.empty()) widget->setAccessibleDescription(Q(tip));
}

double ContrastRatio(const QColor& a, const QColor& b) {
  const double la = Luminance(a);
  const double lb = Luminance(b);
  return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

QColor WarningColour(const QPalette& palette) {
  const QColor window = palette.color(QPalette::Window);
  const QColor dark_red(0xa0, 0x00, 0x00);
  const QColor light_red(0xff, 0xa0, 0xa0);
  return ContrastRatio(dark_red, window) >= ContrastRatio(light_red, window) ? dark_red : light_red;
}

}  // namespace mi
