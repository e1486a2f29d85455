// Line charts drawn with QPainter and a built-in 5 x 7 font.
#include "imageio/ZrPlot.h"

#include <QBuffer>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <limits>
#include <map>

#include "numerics/ZrError.h"

namespace {

// 5 x 7 glyphs (an eighth row for descenders), one byte per row from the top, bit 4 the
// leftmost column.
const std::map<char, std::array<uint8_t, 8>>& Glyphs() {
  static const std::map<char, std::array<uint8_t, 8>> glyphs = {
      {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
      {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
      {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}},
      {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
      {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}},
      {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
      {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}},
      {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
      {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}},
      {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
      {'a', {0x00, 0x00, 0x0E, 0x01, 0x0F, 0x11, 0x0F}},
      {'b', {0x10, 0x10, 0x16, 0x19, 0x11, 0x11, 0x1E}},
      {'c', {0x00, 0x00, 0x0E, 0x10, 0x10, 0x11, 0x0E}},
      {'d', {0x01, 0x01, 0x0D, 0x13, 0x11, 0x11, 0x0F}},
      {'e', {0x00, 0x00, 0x0E, 0x11, 0x1F, 0x10, 0x0E}},
      {'f', {0x06, 0x09, 0x08, 0x1C, 0x08, 0x08, 0x08}},
      {'g', {0x00, 0x00, 0x0F, 0x11, 0x11, 0x0F, 0x01, 0x0E}},
      {'h', {0x10, 0x10, 0x16, 0x19, 0x11, 0x11, 0x11}},
      {'i', {0x04, 0x00, 0x0C, 0x04, 0x04, 0x04, 0x0E}},
      {'j', {0x02, 0x00, 0x06, 0x02, 0x02, 0x02, 0x12, 0x0C}},
      {'k', {0x10, 0x10, 0x12, 0x14, 0x18, 0x14, 0x12}},
      {'l', {0x0C, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}},
      {'m', {0x00, 0x00, 0x1A, 0x15, 0x15, 0x11, 0x11}},
      {'n', {0x00, 0x00, 0x16, 0x19, 0x11, 0x11, 0x11}},
      {'o', {0x00, 0x00, 0x0E, 0x11, 0x11, 0x11, 0x0E}},
      {'p', {0x00, 0x00, 0x1E, 0x11, 0x11, 0x1E, 0x10, 0x10}},
      {'q', {0x00, 0x00, 0x0F, 0x11, 0x11, 0x0F, 0x01, 0x01}},
      {'r', {0x00, 0x00, 0x16, 0x19, 0x10, 0x10, 0x10}},
      {'s', {0x00, 0x00, 0x0E, 0x10, 0x0E, 0x01, 0x1E}},
      {'t', {0x08, 0x08, 0x1C, 0x08, 0x08, 0x09, 0x06}},
      {'u', {0x00, 0x00, 0x11, 0x11, 0x11, 0x13, 0x0D}},
      {'v', {0x00, 0x00, 0x11, 0x11, 0x11, 0x0A, 0x04}},
      {'w', {0x00, 0x00, 0x11, 0x11, 0x15, 0x15, 0x0A}},
      {'x', {0x00, 0x00, 0x11, 0x0A, 0x04, 0x0A, 0x11}},
      {'y', {0x00, 0x00, 0x11, 0x11, 0x11, 0x0F, 0x01, 0x0E}},
      {'z', {0x00, 0x00, 0x1F, 0x02, 0x04, 0x08, 0x1F}},
      {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}},
      {',', {0x00, 0x00, 0x00, 0x00, 0x0C, 0x04, 0x08}},
      {':', {0x00, 0x0C, 0x0C, 0x00, 0x0C, 0x0C, 0x00}},
      {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
      {'+', {0x00, 0x04, 0x04, 0x1F, 0x04, 0x04, 0x00}},
      {'=', {0x00, 0x00, 0x1F, 0x00, 0x1F, 0x00, 0x00}},
      {'/', {0x00, 0x01, 0x02, 0x04, 0x08, 0x10, 0x00}},
      {'(', {0x02, 0x04, 0x08, 0x08, 0x08, 0x04, 0x02}},
      {')', {0x08, 0x04, 0x02, 0x02, 0x02, 0x04, 0x08}},
      {'%', {0x18, 0x19, 0x02, 0x04, 0x08, 0x13, 0x03}},
      {'<', {0x02, 0x04, 0x08, 0x10, 0x08, 0x04, 0x02}},
      {'>', {0x08, 0x04, 0x02, 0x01, 0x02, 0x04, 0x08}},
  };
  return glyphs;
}

void DrawText(QPainter& painter, const std::string& text, int32_t x, int32_t y, int32_t scale,
              const QColor& colour) {
  for (const char raw : text) {
    const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(raw)));
    const auto glyph = Glyphs().find(c);
    if (glyph != Glyphs().end()) {
      for (int32_t row = 0; row < 8; ++row) {
        for (int32_t col = 0; col < 5; ++col) {
          if (glyph->second[static_cast<size_t>(row)] & (0x10 >> col)) {
            painter.fillRect(x + col * scale, y + row * scale, scale, scale, colour);
          }
        }
      }
    }
    x += 6 * scale;
  }
}

std::string Number(double v) {
  char text[32];
  std::snprintf(text, sizeof text, "%.4g", v);
  return text;
}

// Tick positions across [lo, hi]: multiples of 1, 2 or 5 times a power of ten, about `target`
// of them; on a log axis the powers of ten (and 2 and 5 times them over few decades).
std::vector<double> Ticks(double lo, double hi, bool log, int32_t target) {
  std::vector<double> ticks;
  if (log) {
    const double decades = std::log10(hi) - std::log10(lo);
    for (double p = std::floor(std::log10(lo)); p <= std::ceil(std::log10(hi)); ++p) {
      for (const double f : {1.0, 2.0, 5.0}) {
        const double t = f * std::pow(10.0, p);
        if ((f == 1.0 || decades < 3) && t >= lo * (1 - 1e-9) && t <= hi * (1 + 1e-9)) {
          ticks.push_back(t);
        }
      }
    }
    return ticks;
  }
  const double raw = (hi - lo) / target;
  const double magnitude = std::pow(10.0, std::floor(std::log10(raw)));
  const double r = raw / magnitude;
  const double step = (r < 1.5 ? 1 : r < 3 ? 2 : r < 7 ? 5 : 10) * magnitude;
  for (double t = std::ceil(lo / step) * step; t <= hi + 1e-9 * step; t += step) {
    ticks.push_back(std::abs(t) < 1e-12 * step ? 0.0 : t);
  }
  return ticks;
}

void DrawPanel(QPainter& painter, const ZrPlotPanel& panel, int32_t width, int32_t top,
               int32_t height) {
  const int32_t left = 100, right = width - 20, plotTop = top + 36, bottom = top + height - 52;
  double x0 = std::numeric_limits<double>::infinity(), x1 = -x0, y0 = x0, y1 = -x0;
  for (const ZrPlotSeries& s : panel.Series) {
    for (size_t i = 0; i < std::min(s.X.size(), s.Y.size()); ++i) {
      if (!std::isfinite(s.X[i]) || !std::isfinite(s.Y[i]) || (panel.LogY && !(s.Y[i] > 0))) {
        continue;
      }
      x0 = std::min(x0, s.X[i]);
      x1 = std::max(x1, s.X[i]);
      y0 = std::min(y0, s.Y[i]);
      y1 = std::max(y1, s.Y[i]);
    }
  }
  const QColor ink(0x20, 0x20, 0x20);
  DrawText(painter, panel.Title, left, top + 12, 2, ink);
  DrawText(painter, panel.XLabel, (left + right) / 2 - ZrPlotTextWidth(panel.XLabel, 2) / 2,
           bottom + 30, 2, ink);
  if (!(x0 <= x1)) return;  // nothing to draw
  if (x0 == x1) {
    x0 -= 1;
    x1 += 1;
  }
  if (panel.LogY) {
    y0 /= 1.5;
    y1 *= 1.5;
  } else {
    const double pad = y1 > y0 ? 0.05 * (y1 - y0) : std::max(1.0, std::abs(y0) * 0.1);
    y0 -= pad;
    y1 += pad;
  }
  auto px = [&](double x) { return left + (x - x0) / (x1 - x0) * (right - left); };
  auto py = [&](double y) {
    const double f = panel.LogY
                         ? (std::log10(y) - std::log10(y0)) / (std::log10(y1) - std::log10(y0))
                         : (y - y0) / (y1 - y0);
    return bottom - f * (bottom - plotTop);
  };
  const QColor grid(0xE0, 0xE0, 0xE0);
  for (const double t : Ticks(x0, x1, false, 8)) {
    painter.setPen(grid);
    painter.drawLine(QPointF(px(t), plotTop), QPointF(px(t), bottom));
    const std::string label = Number(t);
    DrawText(painter, label, static_cast<int32_t>(px(t)) - ZrPlotTextWidth(label, 2) / 2,
             bottom + 8, 2, ink);
  }
  for (const double t : Ticks(y0, y1, panel.LogY, 6)) {
    painter.setPen(grid);
    painter.drawLine(QPointF(left, py(t)), QPointF(right, py(t)));
    const std::string label = Number(t);
    DrawText(painter, label, left - 8 - ZrPlotTextWidth(label, 2), static_cast<int32_t>(py(t)) - 7,
             2, ink);
  }
  painter.setPen(QPen(QColor(0x90, 0x90, 0x90), 2, Qt::DashLine));
  for (const double m : panel.MarkX) {
    if (m >= x0 && m <= x1) painter.drawLine(QPointF(px(m), plotTop), QPointF(px(m), bottom));
  }
  painter.setPen(QPen(ink, 1));
  painter.drawRect(left, plotTop, right - left, bottom - plotTop);
  painter.setRenderHint(QPainter::Antialiasing, true);
  for (const ZrPlotSeries& s : panel.Series) {
    QPen pen(QColor::fromRgb(static_cast<QRgb>(s.Rgb)), 2, s.Dashed ? Qt::DashLine : Qt::SolidLine);
    painter.setPen(pen);
    QPainterPath path;
    bool open = false;
    for (size_t i = 0; i < std::min(s.X.size(), s.Y.size()); ++i) {
      const bool ok = std::isfinite(s.X[i]) && std::isfinite(s.Y[i]) && (!panel.LogY || s.Y[i] > 0);
      if (!ok) {
        open = false;
        continue;
      }
      const QPointF p(px(s.X[i]), py(s.Y[i]));
      if (open) {
        path.lineTo(p);
      } else {
        path.moveTo(p);
        open = true;
      }
    }
    painter.drawPath(path);
  }
  painter.setRenderHint(QPainter::Antialiasing, false);
  // The legend on a white box in the top right corner, over the lines.
  int32_t widest = 0;
  for (const ZrPlotSeries& s : panel.Series) widest = std::max(widest, ZrPlotTextWidth(s.Label, 2));
  if (panel.Series.empty()) return;
  const int32_t boxLeft = right - 60 - widest;
  const int32_t boxHeight = 20 * static_cast<int32_t>(panel.Series.size()) + 8;
  painter.setPen(QPen(QColor(0xC0, 0xC0, 0xC0), 1));
  painter.setBrush(Qt::white);
  painter.drawRect(boxLeft, plotTop + 4, right - 6 - boxLeft, boxHeight);
  painter.setBrush(Qt::NoBrush);
  int32_t legendY = plotTop + 10;
  for (const ZrPlotSeries& s : panel.Series) {
    painter.setPen(QPen(QColor::fromRgb(static_cast<QRgb>(s.Rgb)), 2,
                        s.Dashed ? Qt::DashLine : Qt::SolidLine));
    painter.drawLine(boxLeft + 8, legendY + 7, boxLeft + 40, legendY + 7);
    DrawText(painter, s.Label, boxLeft + 48, legendY, 2, ink);
    legendY += 20;
  }
}

}  // namespace

int32_t ZrPlotTextWidth(const std::string& text, int32_t scale) {
  return static_cast<int32_t>(text.size()) * 6 * scale;
}

std::string ZrPlotPng(const std::vector<ZrPlotPanel>& panels, int32_t width, int32_t panelHeight) {
  if (panels.empty() || width < 200 || panelHeight < 120) {
    throw ZrError("Plot: a picture needs a panel and at least 200 x 120 pixels for each");
  }
  QImage picture(width, panelHeight * static_cast<int32_t>(panels.size()), QImage::Format_RGB32);
  picture.fill(Qt::white);
  {
    QPainter painter(&picture);
    for (size_t i = 0; i < panels.size(); ++i) {
      DrawPanel(painter, panels[i], width, static_cast<int32_t>(i) * panelHeight, panelHeight);
    }
  }
  QByteArray data;
  QBuffer buffer(&data);
  buffer.open(QIODevice::WriteOnly);
  if (!picture.save(&buffer, "PNG")) throw ZrError("Plot: cannot encode PNG");
  return std::string(data.constData(), static_cast<size_t>(data.size()));
}
