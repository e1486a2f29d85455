// One host window on screen: the image with its regions and lines, the display range, the
// zoom and, for a series, the index slider.
#pragma once

#include <QImage>
#include <QWidget>
#include <cstdint>

#include "refhost/ZrRefHost.h"
#include "viewer/ZrViewerImage.h"

class QCheckBox;
class QDoubleSpinBox;
class QLabel;
class QSlider;
class QSpinBox;
class QScrollArea;

// Paints an image at an integer zoom with the window's regions and lines on top, and reports
// the pixel under the mouse.
class ZrImageView : public QWidget {
  Q_OBJECT
 public:
  explicit ZrImageView(QWidget* parent = nullptr);

  void SetWindow(const ZrRefHostWindow& window);
  void SetRange(float lo, float hi);
  void SetZoom(int zoom);
  int Zoom() const { return zoom_; }
  const QImage& Picture() const { return picture_; }

  // Image coordinates (begin-based, pixel centres on integers) to widget coordinates, and the
  // pixel under a widget point.
  QPointF ToScreen(double x, double y) const;
  QPoint PixelAt(const QPoint& point) const;

  QSize sizeHint() const override;

 signals:
  void CursorMoved(const QString& text);

 protected:
  void paintEvent(QPaintEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void leaveEvent(QEvent* event) override;

 private:
  void Render();

  ZrRefHostWindow window_;
  float lo_ = 0, hi_ = 1;
  int zoom_ = 1;
  QImage picture_;
};

class ZrViewerWindow : public QWidget {
  Q_OBJECT
 public:
  explicit ZrViewerWindow(int32_t id, QWidget* parent = nullptr);

  int32_t Id() const { return id_; }
  // Shows the host's present state of the window. The display range follows the image while
  // "auto" is checked.
  void Refresh(const ZrRefHostWindow& window);
  const ZrRefHostWindow& Window() const { return window_; }
  QString Title() const;

  void SetRange(float lo, float hi);  // unchecks "auto"
  void SetAutoRange(bool on);
  ZrDisplayRange Range() const;
  ZrImageView* View() const { return view_; }
  QSlider* SeriesSlider() const { return slider_; }

 signals:
  void CursorMoved(const QString& text);
  void SeriesIndexChosen(int32_t id, int32_t index);

 private:
  void ApplyRange();

  int32_t id_;
  ZrRefHostWindow window_;
  ZrImageView* view_ = nullptr;
  QScrollArea* scroll_ = nullptr;
  QDoubleSpinBox* lo_ = nullptr;
  QDoubleSpinBox* hi_ = nullptr;
  QCheckBox* auto_ = nullptr;
  QSpinBox* zoom_ = nullptr;
  QSlider* slider_ = nullptr;
  QLabel* index_ = nullptr;
  bool updating_ = false;
};
