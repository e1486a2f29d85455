// The main window's side panels: the key records and log of the focused window, and the
// radial profile of its image.
#pragma once

#include <QWidget>
#include <functional>

#include "numerics/ZrMatrix.h"

class QCheckBox;
class QDoubleSpinBox;
class QPlainTextEdit;
class QTreeWidget;
struct ZrRefHostWindow;
namespace QtCharts {
class QChartView;
class QLineSeries;
}  // namespace QtCharts

// The key record of a window as a tree ("ImageKeyDouble", "ImageKeyString" and, for a
// series, "SeriesKeyDouble") and its "log" key in full below it.
class ZrViewerKeyPanel : public QWidget {
 public:
  explicit ZrViewerKeyPanel(QWidget* parent = nullptr);
  // The window's keys; null empties the panel.
  void Show(const ZrRefHostWindow* window);
  QTreeWidget* KeyTree() const { return keys_; }
  QPlainTextEdit* LogView() const { return log_; }

 private:
  QTreeWidget* keys_ = nullptr;
  QPlainTextEdit* log_ = nullptr;
};

// Ring means of an image about a centre, drawn as a line chart. The centre follows the
// image's centre until one is chosen (in the spin boxes or through SetCentre).
class ZrViewerProfilePanel : public QWidget {
 public:
  // image: the image to profile when the panel redraws (null: none).
  explicit ZrViewerProfilePanel(std::function<const ZrFloatMatrix*()> image,
                                QWidget* parent = nullptr);
  void SetCentre(double cx, double cy);
  // Draws the profile of the current image again.
  void Refresh();
  QtCharts::QLineSeries* Series() const { return series_; }

 private:
  std::function<const ZrFloatMatrix*()> image_;
  QDoubleSpinBox* x_ = nullptr;
  QDoubleSpinBox* y_ = nullptr;
  QCheckBox* skipZeros_ = nullptr;
  bool centreChosen_ = false;  // until then the centre follows the image's centre
  QtCharts::QChartView* chartView_ = nullptr;
  QtCharts::QLineSeries* series_ = nullptr;
};
