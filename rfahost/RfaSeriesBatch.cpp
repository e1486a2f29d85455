// The series batch's work on the host.
#include "rfahost/RfaSeriesBatch.h"

#include <QCoreApplication>
#include <QThread>
#include <algorithm>
#include <map>
#include <string>

#include "hostlink/ZrPluginFuncVeldra.h"
#include "numerics/ZrError.h"
#include "rfa/RfaParameters.h"
#include "rfahost/RfaPipeline.h"

namespace {

// The output file of one image: its own file name (without directory) in the output folder.
std::string OutputFileName(const QString& outputFolder, const std::string& sourceFileUtf8) {
  const QString source = QString::fromUtf8(sourceFileUtf8.c_str());
  QString name = source.mid(std::max(source.lastIndexOf('/'), source.lastIndexOf('\\')) + 1);
  if (name.isEmpty()) name = "image.xml";
  return (outputFolder + "/" + name).toUtf8().toStdString();
}

void ThrowIfCanceled(const RfaSeriesHooks& hooks) {
  if (hooks.Canceled && hooks.Canceled()) throw ZrError("Canceled.");
}

}  // namespace

void RfaProcessSeriesImages(const RfaParameters& params, ZrPluginFuncVeldra& host, int32_t windowId,
                            const QString& indexFile, const QString& outputFolder,
                            const RfaSeriesHooks& hooks) {
  if (!host.GetIsModeImage(windowId)) throw ZrError("Please select image window");
  std::map<std::string, std::string> seriesKeys;
  host.SeriesKeyStringGet(windowId, seriesKeys);
  const int32_t count = host.SeriesGetCount(windowId);
  if (hooks.Begin) hooks.Begin(count);

  for (int32_t i = 0; i < count; ++i) {
    if (hooks.Progress) hooks.Progress(i);
    QCoreApplication::processEvents();
    ThrowIfCanceled(hooks);

    host.SeriesImageIndexSetWithLoadImage(windowId, i);
    bool isLoaded = false;
    bool isSuccess = false;
    for (;;) {
      QThread::msleep(static_cast<unsigned long>(hooks.PollIntervalMs));
      QCoreApplication::processEvents();
      host.GetIsLoaded(isLoaded, isSuccess);
      if (isLoaded) break;
      // Cancelling stays possible while a slow host loads; it never waits for ever.
      ThrowIfCanceled(hooks);
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
  if (hooks.Progress) hooks.Progress(count);
}
