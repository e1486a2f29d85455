// "New Image (Apply checked operations)".
#include "app/RfaNewImage.h"

#include <QMessageBox>
#include <QProgressDialog>
#include <memory>

#include "app/RfaParameterFiles.h"
#include "hostlink/ZrPluginFuncVeldra.h"
#include "rfa/RfaParameters.h"
#include "rfahost/RfaPipeline.h"
#include "rfahost/RfaSeriesBatch.h"

bool RfaAskProcessAllImages(QWidget* parent) {
  QMessageBox box(QMessageBox::Question, "Information", "Process All images?",
                  QMessageBox::Yes | QMessageBox::No, parent);
  box.setWindowModality(Qt::ApplicationModal);
  return box.exec() == QMessageBox::Yes;
}

void ProcessSeries(const RfaParameters& params, QWidget* mainWindow, ZrPluginFuncVeldra& host,
                   int32_t windowId) {
  const QString indexFile = GetSaveFileName(mainWindow, "_index.xmlsrs", "index (*.xmlsrs *.*)",
                                            "Please move to output folder");
  if (indexFile.isEmpty()) return;
  std::unique_ptr<QProgressDialog> progress;
  RfaSeriesHooks hooks;
  hooks.Begin = [&](int32_t count) {
    progress = std::make_unique<QProgressDialog>(mainWindow);
    progress->setMinimumDuration(0);
    progress->setMaximum(count);
    progress->show();
  };
  hooks.Progress = [&](int32_t index) { progress->setValue(index); };
  hooks.Canceled = [&] { return progress->wasCanceled(); };
  RfaProcessSeriesImages(params, host, windowId, indexFile, RfaDirectoryOf(indexFile), hooks);
  progress->close();
}

int32_t RfaNewImageCommand(const RfaParameters& params, QWidget* parent, ZrPluginFuncVeldra& host) {
  const int32_t sourceId = RfaRequireFocusedImageWindow(host);
  if (host.GetIsModeSeries(sourceId) && RfaAskProcessAllImages(parent)) {
    ProcessSeries(params, parent, host, sourceId);
    return -1;
  }
  return RfaNewImageFromWindow(params, host, sourceId);
}
