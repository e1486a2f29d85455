// The main window: thin slots around the operations of rfahost/RfaPipeline and the app functions.
#include "app/MainWindow.h"

#include <QCloseEvent>

#include "app/RfaErrorDialogs.h"
#include "app/RfaNewImage.h"
#include "app/RfaParameterFiles.h"
#include "app/RfaParametersBind.h"
#include "rfa/RfaParameters.h"
#include "rfahost/RfaPipeline.h"
#include "ui_MainWindow.h"

namespace {
RfaParameters& Params() {
  return RfaParameters::Instance();
}
}  // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent), host_(), initTimer_(), ui_(std::make_unique<Ui::MainWindow>()) {
  ui_->setupUi(this);
  RfaConnectPanel(ui_->centralWidget, this, [this] { PanelChanged(); });
  connect(&initTimer_, SIGNAL(timeout()), this, SLOT(onInitTimer()));
  initTimer_.start(10);
}

MainWindow::~MainWindow() = default;

void MainWindow::ReadPanel() {
  Params().Bind(true, ui_.get());
  SaveToIni(Params());
}

void MainWindow::FillPanel() {
  // Setting a widget fires its value-changed slot; while filling, that slot must not read the
  // half-filled panel back into the parameters.
  filling_ = true;
  try {
    Params().Bind(false, ui_.get());
  } catch (...) {
    filling_ = false;
    throw;
  }
  filling_ = false;
}

void MainWindow::PanelChanged() {
  if (filling_) return;
  RfaRunButtonFrame(this, nullptr, [this] { ReadPanel(); });
}

void MainWindow::closeEvent(QCloseEvent* event) {
  Params().Closing = true;
  QMainWindow::closeEvent(event);
}

void MainWindow::on_pushButton_3_clicked() {
  close();
}

void MainWindow::onInitTimer() {
  initTimer_.stop();
  LoadFromIni(Params());
  try {
    FillPanel();
  } catch (const ZrError& e) {
    RfaShowErrorDialog(this, QString::fromStdString(e.Message));
    close();
  }
}

void MainWindow::on_pushButton_6_clicked() {
  RfaRunButtonFrame(this, nullptr, [this] {
    ReadPanel();
    RfaDrawScreen(Params(), host_);
  });
}

void MainWindow::on_pushButton_7_clicked() {
  RfaRunButtonFrame(this, nullptr, [this] {
    ReadPanel();
    RfaMoveToCenterStep(Params(), host_);
  });
}

void MainWindow::on_pushButton_5_clicked() {
  RfaRunButtonFrame(this, ui_->pushButton_5, [this] {
    ReadPanel();
    RfaRemoveShBackgroundStep(Params(), host_);
  });
}

void MainWindow::on_pushButton_clicked() {
  RfaRunButtonFrame(this, nullptr, [this] {
    ReadPanel();
    RfaRemoveAzBackgroundStep(Params(), host_);
  });
}

void MainWindow::on_pushButton_2_clicked() {
  RfaRunButtonFrame(this, ui_->pushButton_2, [this] {
    ReadPanel();
    RfaAdjustScreenOnHost(Params(), host_);
    FillPanel();
  });
}

void MainWindow::on_pushButton_8_clicked() {
  RfaRunButtonFrame(this, ui_->pushButton_8, [this] {
    ReadPanel();
    RfaNewImageCommand(Params(), this, host_);
  });
}

void MainWindow::on_pushButton_10_clicked() {
  RfaRunButtonFrame(this, nullptr, [this] {
    ReadPanel();
    RfaDrawDip(Params(), host_);
  });
}

void MainWindow::on_pushButton_4_clicked() {
  RfaRunButtonFrame(this, nullptr, [this] {
    ReadPanel();
    RfaDrawMask(Params(), host_);
  });
}

void MainWindow::on_pushButton_9_clicked() {
  RfaRunButtonFrame(this, nullptr, [this] {
    ReadPanel();
    RfaMaskMcpDipStep(Params(), host_);
  });
}

void MainWindow::on_pushButton_11_clicked() {
  RfaRunButtonFrame(this, nullptr, [this] {
    ReadPanel();
    RfaMaskOutsideStep(Params(), host_);
  });
}

void MainWindow::on_pushButton_12_clicked() {
  RfaRunButtonFrame(this, nullptr, [this] {
    ReadPanel();
    RfaUpdateMaskFromRegion(Params(), host_);
    FillPanel();
  });
}

void MainWindow::on_actionLoad_parameters_triggered() {
  RfaRunButtonFrame(this, nullptr, [this] {
    if (RfaLoadParametersCommand(this, lastDirectory_, Params())) FillPanel();
  });
}

void MainWindow::on_actionSave_Parameters_triggered() {
  RfaRunButtonFrame(this, nullptr, [this] {
    Params().Bind(true, ui_.get());
    RfaSaveParametersCommand(this, Params());
  });
}
