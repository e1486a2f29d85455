#include "viewer/ZrViewerPanels.h"

#include <QChart>
#include <QChartView>
#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineSeries>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <QValueAxis>
#include <algorithm>

#include "refhost/ZrRefHost.h"
#include "viewer/ZrViewerImage.h"

using namespace QtCharts;

ZrViewerKeyPanel::ZrViewerKeyPanel(QWidget* parent) : QWidget(parent) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2, 2, 2, 2);
  keys_ = new QTreeWidget;
  keys_->setColumnCount(2);
  keys_->setHeaderLabels({"Key", "Value"});
  keys_->header()->setSectionResizeMode(0, QHeaderView::Interactive);
  keys_->setColumnWidth(0, 190);
  log_ = new QPlainTextEdit;
  log_->setReadOnly(true);
  log_->setLineWrapMode(QPlainTextEdit::NoWrap);
  layout->addWidget(keys_, 2);
  layout->addWidget(new QLabel("log"));
  layout->addWidget(log_, 1);
}

void ZrViewerKeyPanel::Show(const ZrRefHostWindow* window) {
  keys_->clear();
  log_->clear();
  if (window == nullptr) return;
  auto* doubles = new QTreeWidgetItem(keys_, {"ImageKeyDouble"});
  for (const auto& [key, value] : window->KeyDouble) {
    new QTreeWidgetItem(doubles, {QString::fromStdString(key), QString::number(value, 'g', 10)});
  }
  auto* strings = new QTreeWidgetItem(keys_, {"ImageKeyString"});
  for (const auto& [key, value] : window->KeyString) {
    if (key == "log") continue;  // shown whole below
    new QTreeWidgetItem(strings, {QString::fromStdString(key), QString::fromStdString(value)});
  }
  if (window->IsSeries) {
    auto* series = new QTreeWidgetItem(keys_, {"SeriesKeyDouble"});
    for (const auto& [key, value] : window->Series.KeyDouble) {
      new QTreeWidgetItem(series, {QString::fromStdString(key), QString::number(value, 'g', 10)});
    }
  }
  keys_->expandAll();
  const auto log = window->KeyString.find("log");
  if (log != window->KeyString.end()) log_->setPlainText(QString::fromStdString(log->second));
}

ZrViewerProfilePanel::ZrViewerProfilePanel(std::function<const ZrFloatMatrix*()> image,
                                           QWidget* parent)
    : QWidget(parent), image_(std::move(image)) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2, 2, 2, 2);
  auto* form = new QFormLayout;
  x_ = new QDoubleSpinBox;
  y_ = new QDoubleSpinBox;
  for (QDoubleSpinBox* box : {x_, y_}) {
    box->setRange(-1e6, 1e6);
    box->setDecimals(2);
    connect(box, qOverload<double>(&QDoubleSpinBox::valueChanged), this, [this] {
      centreChosen_ = true;
      Refresh();
    });
  }
  skipZeros_ = new QCheckBox("leave out zeros");
  skipZeros_->setChecked(true);
  connect(skipZeros_, &QCheckBox::toggled, this, &ZrViewerProfilePanel::Refresh);
  auto* centre = new QPushButton("Image centre");
  centre->setObjectName("profileImageCentre");
  connect(centre, &QPushButton::clicked, this, [this] {
    centreChosen_ = false;  // follow the image's centre again
    Refresh();
  });
  form->addRow("centre x", x_);
  form->addRow("centre y", y_);
  form->addRow(skipZeros_, centre);
  layout->addLayout(form);
  series_ = new QLineSeries;
  auto* chart = new QChart;
  chart->addSeries(series_);
  chart->createDefaultAxes();
  chart->legend()->hide();
  chart->setMargins(QMargins(2, 2, 2, 2));
  chartView_ = new QChartView(chart);
  chartView_->setRenderHint(QPainter::Antialiasing);
  chartView_->setMinimumSize(280, 200);
  layout->addWidget(chartView_, 1);
}

void ZrViewerProfilePanel::SetCentre(double cx, double cy) {
  const QSignalBlocker blockX(x_);
  const QSignalBlocker blockY(y_);
  x_->setValue(cx);
  y_->setValue(cy);
  centreChosen_ = true;
  Refresh();
}

void ZrViewerProfilePanel::Refresh() {
  const ZrFloatMatrix* image = image_ ? image_() : nullptr;
  QList<QPointF> points;
  if (image != nullptr && !centreChosen_) {
    const QSignalBlocker blockX(x_);
    const QSignalBlocker blockY(y_);
    x_->setValue(image->ColBegin + (image->ColSize - 1) / 2.0);
    y_->setValue(image->RowBegin + (image->RowSize - 1) / 2.0);
  }
  if (image != nullptr) {
    for (const QPointF& p :
         ZrViewerRadialProfile(*image, x_->value(), y_->value(), skipZeros_->isChecked())) {
      points.append(p);
    }
  }
  series_->replace(points);
  double xMax = 1, yMin = 0, yMax = 1;
  if (!points.isEmpty()) {
    xMax = std::max(1.0, points.back().x());
    yMin = yMax = points.front().y();
    for (const QPointF& p : points) {
      yMin = std::min(yMin, p.y());
      yMax = std::max(yMax, p.y());
    }
    if (yMin == yMax) yMax = yMin + 1;
  }
  const auto xAxes = chartView_->chart()->axes(Qt::Horizontal);
  const auto yAxes = chartView_->chart()->axes(Qt::Vertical);
  if (!xAxes.isEmpty()) xAxes.front()->setRange(0, xMax);
  if (!yAxes.isEmpty()) yAxes.front()->setRange(yMin, yMax);
}
