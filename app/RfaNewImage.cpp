// "New Image (Apply checked operations)".
#include "app/RfaNewImage.h"

#include <QMessageBox>

#include "app/RfaSeriesBatch.h"
#include "hostlink/ZrPluginFuncVeldra.h"
#include "rfa/RfaParameters.h"
#include "rfa/RfaPipeline.h"

bool RfaAskProcessAllImages(QWidget* parent) {
  QMessageBox box(QMessageBox::Question, "Information", "Process All images?",
                  QMessageBox::Yes | QMessageBox::No, parent);
  box.setWindowModality(Qt::ApplicationModal);
  return box.exec() == QMessageBox::Yes;
}

int32_t RfaNewImageCommand(const RfaParameters& params, QWidget* parent, ZrPluginFuncVeldra& host) {
  const int32_t sourceId = RfaRequireFocusedImageWindow(host);
  if (host.GetIsModeSeries(sourceId) && RfaAskProcessAllImages(parent)) {
    ProcessSeries(params, parent, host, sourceId);
    return -1;
  }
  return RfaNewImageFromWindow(params, host, sourceId);
}
