#include "viewer/ZrViewerWindow.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollArea>
#include <QSlider>
#include <QSpinBox>
#include <QVBoxLayout>
#include <cfloat>
#include <cmath>

ZrImageView::ZrImageView(QWidget* parent) : QWidget(parent) {
  setMouseTracking(true);
}

void ZrImageView::SetWindow(const ZrRefHostWindow& window) {
  window_ = window;
  Render();
}

void ZrImageView::SetRange(float lo, float hi) {
  lo_ = lo;
  hi_ = hi;
  Render();
}

void ZrImageView::SetZoom(int zoom) {
  zoom_ = std::max(1, zoom);
  resize(sizeHint());
  updateGeometry();
  update();
}

void ZrImageView::Render() {
  picture_ = ZrViewerRender(window_.Image, lo_, hi_);
  resize(sizeHint());
  updateGeometry();
  update();
}

QPointF ZrImageView::ToScreen(double x, double y) const {
  return QPointF((x - window_.Image.ColBegin + 0.5) * zoom_,
                 (y - window_.Image.RowBegin + 0.5) * zoom_);
}

QPoint ZrImageView::PixelAt(const QPoint& point) const {
  return QPoint(window_.Image.ColBegin + static_cast<int>(std::floor(point.x() / double(zoom_))),
                window_.Image.RowBegin + static_cast<int>(std::floor(point.y() / double(zoom_))));
}

QSize ZrImageView::sizeHint() const {
  return QSize(window_.Image.ColSize * zoom_, window_.Image.RowSize * zoom_);
}

void ZrImageView::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), Qt::black);
  painter.drawImage(QRect(0, 0, picture_.width() * zoom_, picture_.height() * zoom_), picture_);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setBrush(Qt::NoBrush);
  for (const auto& [id, region] : window_.Regions) {
    (void)id;
    painter.setPen(QPen(QColor(region.color.r, region.color.g, region.color.b), 1.5));
    const QPointF centre = ToScreen(region.cx, region.cy);
    const QRectF box(centre.x() - region.w * zoom_ / 2.0, centre.y() - region.h * zoom_ / 2.0,
                     region.w * zoom_, region.h * zoom_);
    if (region.regionType == "ELLIPSE") {
      painter.drawEllipse(box);
    } else {
      painter.drawRect(box);
    }
  }
  for (const auto& [id, line] : window_.Lines) {
    (void)id;
    painter.setPen(QPen(QColor(line.Color.r, line.Color.g, line.Color.b),
                        std::max(1.0, static_cast<double>(line.Width))));
    painter.drawLine(ToScreen(line.X0, line.Y0), ToScreen(line.X1, line.Y1));
  }
}

void ZrImageView::mouseMoveEvent(QMouseEvent* event) {
  const QPoint pixel = PixelAt(event->pos());
  emit CursorMoved(ZrViewerCursorText(window_.Image, pixel.x(), pixel.y()));
}

void ZrImageView::leaveEvent(QEvent*) {
  emit CursorMoved(QString());
}

ZrViewerWindow::ZrViewerWindow(int32_t id, QWidget* parent) : QWidget(parent), id_(id) {
  auto* layout = new QVBoxLayout(this);
  layout->setContentsMargins(2, 2, 2, 2);
  auto* controls = new QHBoxLayout;
  lo_ = new QDoubleSpinBox;
  hi_ = new QDoubleSpinBox;
  for (QDoubleSpinBox* box : {lo_, hi_}) {
    box->setRange(-FLT_MAX, FLT_MAX);
    box->setDecimals(4);
    box->setFixedWidth(100);  // the float range would make them very wide
  }
  lo_->setObjectName("displayMin");
  hi_->setObjectName("displayMax");
  auto_ = new QCheckBox("auto");
  auto_->setObjectName("displayAuto");
  auto_->setChecked(true);
  zoom_ = new QSpinBox;
  zoom_->setObjectName("zoom");
  zoom_->setRange(1, 16);
  zoom_->setSuffix("x");
  slider_ = new QSlider(Qt::Horizontal);
  slider_->setObjectName("seriesIndex");
  index_ = new QLabel;
  // Two rows keep the window narrow enough for several side by side.
  controls->addWidget(new QLabel("min"));
  controls->addWidget(lo_);
  controls->addWidget(new QLabel("max"));
  controls->addWidget(hi_);
  controls->addStretch();
  auto* second = new QHBoxLayout;
  second->addWidget(auto_);
  second->addWidget(new QLabel("zoom"));
  second->addWidget(zoom_);
  second->addWidget(slider_, 1);
  second->addWidget(index_);
  second->addStretch();
  layout->addLayout(controls);
  layout->addLayout(second);
  view_ = new ZrImageView;
  scroll_ = new QScrollArea;
  scroll_->setWidget(view_);
  scroll_->setAlignment(Qt::AlignCenter);
  scroll_->setBackgroundRole(QPalette::Dark);
  layout->addWidget(scroll_, 1);
  slider_->hide();
  index_->hide();

  connect(view_, &ZrImageView::CursorMoved, this, &ZrViewerWindow::CursorMoved);
  auto edited = [this] {
    if (updating_) return;
    auto_->setChecked(false);
    view_->SetRange(static_cast<float>(lo_->value()), static_cast<float>(hi_->value()));
  };
  connect(lo_, qOverload<double>(&QDoubleSpinBox::valueChanged), this, edited);
  connect(hi_, qOverload<double>(&QDoubleSpinBox::valueChanged), this, edited);
  connect(auto_, &QCheckBox::toggled, this, [this](bool on) {
    if (on) ApplyRange();
  });
  connect(zoom_, qOverload<int>(&QSpinBox::valueChanged), view_, &ZrImageView::SetZoom);
  connect(slider_, &QSlider::valueChanged, this, [this](int value) {
    index_->setText(QString("%1 / %2").arg(value + 1).arg(slider_->maximum() + 1));
    if (!updating_) emit SeriesIndexChosen(id_, value);
  });
}

QString ZrViewerWindow::Title() const {
  QString name = QFileInfo(QString::fromStdString(window_.FileName)).fileName();
  if (window_.IsSeries && !window_.Series.Entries.empty() &&
      window_.CurrentIndex < static_cast<int32_t>(window_.Series.Entries.size())) {
    name = QFileInfo(QString::fromStdString(
                         window_.Series.Entries[static_cast<size_t>(window_.CurrentIndex)].File))
               .fileName();
  }
  QString title = QString("%1: %2").arg(id_).arg(name.isEmpty() ? "new" : name);
  return title + QString(" (%1 x %2)").arg(window_.Image.ColSize).arg(window_.Image.RowSize);
}

void ZrViewerWindow::Refresh(const ZrRefHostWindow& window) {
  window_ = window;
  updating_ = true;
  view_->SetWindow(window_);
  if (window_.IsSeries) {
    slider_->setRange(0, std::max(0, static_cast<int>(window_.Series.Entries.size()) - 1));
    slider_->setValue(window_.CurrentIndex);
    index_->setText(
        QString("%1 / %2").arg(window_.CurrentIndex + 1).arg(window_.Series.Entries.size()));
  }
  slider_->setVisible(window_.IsSeries);
  index_->setVisible(window_.IsSeries);
  updating_ = false;
  if (auto_->isChecked()) ApplyRange();
  setWindowTitle(Title());
}

void ZrViewerWindow::ApplyRange() {
  const ZrDisplayRange range = ZrViewerAutoRange(window_.Image);
  updating_ = true;
  lo_->setValue(range.Lo);
  hi_->setValue(range.Hi);
  updating_ = false;
  view_->SetRange(range.Lo, range.Hi);
}

void ZrViewerWindow::SetRange(float lo, float hi) {
  auto_->setChecked(false);
  updating_ = true;
  lo_->setValue(lo);
  hi_->setValue(hi);
  updating_ = false;
  view_->SetRange(static_cast<float>(lo_->value()), static_cast<float>(hi_->value()));
}

void ZrViewerWindow::SetAutoRange(bool on) {
  auto_->setChecked(on);
  if (on) ApplyRange();
}

ZrDisplayRange ZrViewerWindow::Range() const {
  return {static_cast<float>(lo_->value()), static_cast<float>(hi_->value())};
}
