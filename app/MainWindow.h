// The program's only window: the operation panel for the image focused in the host.
#pragma once

#include <QMainWindow>
#include <QString>
#include <QTimer>
#include <memory>

#include "hostlink/ZrPluginFuncVeldra.h"

namespace Ui {
class MainWindow;
}

class MainWindow : public QMainWindow {
  Q_OBJECT

 public:
  explicit MainWindow(QWidget* parent = nullptr);
  ~MainWindow() override;

  ZrPluginFuncVeldra& Host() { return host_; }
  Ui::MainWindow* Form() { return ui_.get(); }

  // Widgets into the parameter set, then the automatic settings file rewritten.
  void ReadPanel();
  // Parameter set into the widgets, without the value-changed slots saving half-filled panels.
  void FillPanel();

 private slots:
  // In the order of the window's slot table; connected by object name.
  void on_pushButton_3_clicked();
  void onInitTimer();
  void on_pushButton_6_clicked();
  void on_pushButton_7_clicked();
  void on_pushButton_5_clicked();
  void on_pushButton_clicked();
  void on_pushButton_2_clicked();
  void on_pushButton_8_clicked();
  void on_pushButton_10_clicked();
  void on_pushButton_4_clicked();
  void on_pushButton_9_clicked();
  void on_pushButton_11_clicked();
  void on_pushButton_12_clicked();
  void on_actionLoad_parameters_triggered();
  void on_actionSave_Parameters_triggered();

  // Every change of the panel re-reads it and rewrites the settings file.
  void on_dspSx_valueChanged(double);
  void on_dspSy_valueChanged(double);
  void on_dspSr_valueChanged(double);
  void on_spMargin_valueChanged(int);
  void on_dspMaxAngle_valueChanged(double);
  void on_dsbThres_valueChanged(double);
  void on_sbAdjSize_valueChanged(int);
  void on_spSizel_valueChanged(int);
  void on_dsbAx_valueChanged(double);
  void on_dsbAy_valueChanged(double);
  void on_cbShowTmp_toggled(bool);
  void on_dsbDipCx_valueChanged(double);
  void on_dsbDipCy_valueChanged(double);
  void on_dsbDipR_valueChanged(double);
  void on_sbMaskCx_valueChanged(int);
  void on_sbMaskCy_valueChanged(int);
  void on_sbMaskRx_valueChanged(int);
  void on_sbMaskRy_valueChanged(int);
  void on_cbMoveCenter_toggled(bool);
  void on_cbBgSh_toggled(bool);
  void on_cbBgAz_toggled(bool);
  void on_cbMaskMcpDip_toggled(bool);
  void on_cbMaskOutside_toggled(bool);

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void PanelChanged();

  ZrPluginFuncVeldra host_;
  QTimer initTimer_;
  std::unique_ptr<Ui::MainWindow> ui_;
  bool filling_ = false;   // true while FillPanel sets widgets
  QString lastDirectory_;  // remembered directory of "Load Parameters"
};
