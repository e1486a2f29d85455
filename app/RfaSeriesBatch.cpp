// Batch processing of a host series.
#include "app/RfaSeriesBatch.h"

#include <QCoreApplication>
#include <QProgressDialog>
#include <QThread>
#include <map>
#include <memory>
#include <string>

#include "app/RfaParameterFiles.h"
#include "hostlink/ZrPluginFuncVeldra.h"
#include "numerics/ZrError.h"
#include "rfa/RfaParameters.h"
#include "rfa/RfaPipeline.h"

namespace {

// The output file of one image: its own file name (without directory) in the output folder.
std::string OutputFileName(const QString& outputFolder, const std::string& sourceFileUtf8) {
  const QString source = QString::fromUtf8(sourceFileUtf8.c_str());
  QString name = source.mid(std::max(source.lastIndexOf('/'), source.lastIndexOf('\\')) + 1);
  if (name.isEmpty()) name = "image.xml";
  return (outputFolder + "/" + name).toUtf8().toStdString();
}

void ThrowIfCanceled(const QProgressDialog& progress) {
  if (progress.wasCanceled()) throw ZrError("Canceled.");
}

}  // namespace

void ProcessSeries(const RfaParameters& params, QWidget* mainWindow, ZrPluginFuncVeldra& host,
                   int32_t windowId, const RfaSeriesBatchOptions& options) {
  const QString indexFile = GetSaveFileName(mainWindow, "_index.xmlsrs", "index (*.xmlsrs *.*)",
                                            "Please move to output folder");
  if (indexFile.isEmpty()) return;
  const QString outputFolder = RfaDirectoryOf(indexFile);

  if (!host.GetIsModeImage(windowId)) throw ZrError("Please select image window");
  std::map<std::string, std::string> seriesKeys;
  host.SeriesKeyStringGet(windowId, seriesKeys);
  const int32_t count = host.SeriesGetCount(windowId);

  QProgressDialog progress(mainWindow);
  progress.setMinimumDuration(0);
  progress.setMaximum(count);
  progress.show();

  for (int32_t i = 0; i < count; ++i) {
    progress.setValue(i);
    QCoreApplication::processEvents();
    ThrowIfCanceled(progress);

    host.SeriesImageIndexSetWithLoadImage(windowId, i);
    bool isLoaded = false;
    bool isSuccess = false;
    for (;;) {
      QThread::msleep(static_cast<unsigned long>(options.pollIntervalMs));
      QCoreApplication::processEvents();
      host.GetIsLoaded(isLoaded, isSuccess);
      if (isLoaded) break;
      // Cancelling stays possible while a slow host loads; it never waits for ever.
      ThrowIfCanceled(progress);
    }
    if (!isSuccess) throw ZrError("File cannot be loaded.");

    const std::string fileName = host.GetFileName(windowId);
    std::map<std::string, double> indexDoubles;
    std::map<std::string, std::string> indexTexts;
    host.SeriesIndexKeyDoubleGet(windowId, indexDoubles);
    host.SeriesIndexKeyStringGet(windowId, indexTexts);

    host.SeriesImageIndexSet(windowId, i);
    RfaApplyCheckedToWindow(params, host, windowId, windowId);

    host.SeriesIndexKeyDoubleSet(windowId, indexDoubles);
    host.SeriesIndexKeyStringSet(windowId, indexTexts);
    host.SeriesImageSave(windowId, OutputFileName(outputFolder, fileName));
  }
  host.SeriesSaveRenew(windowId, indexFile.toUtf8().toStdString());
  progress.setValue(count);
  progress.close();
}
