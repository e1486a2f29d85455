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

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  // Every change of a panel widget re-reads the panel and rewrites the settings file.
  void PanelChanged();

  ZrPluginFuncVeldra host_;
  QTimer initTimer_;
  std::unique_ptr<Ui::MainWindow> ui_;
  bool filling_ = false;   // true while FillPanel sets widgets
  QString lastDirectory_;  // remembered directory of "Load Parameters"
};
