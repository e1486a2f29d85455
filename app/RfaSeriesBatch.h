// Batch processing of every image of a host series window.
#pragma once

#include <cstdint>

class QWidget;
class RfaParameters;
class ZrPluginFuncVeldra;

struct RfaSeriesBatchOptions {
  int pollIntervalMs = 100;  // wait between "GetIsLoaded" questions while the host loads
};

// Asks for the output index file ("_index.xmlsrs"; cancel ends silently), then for each image:
// load and wait, read its file name and index keys, run the checked chain on the series window,
// write the index keys back, have the host save the result into the output folder under the
// image's own file name; finally the renewed index. A progress dialog owned by mainWindow
// allows cancelling between images ("Canceled."); a failed load ends with
// "File cannot be loaded.". Images saved before a failure stay saved.
void ProcessSeries(const RfaParameters& params, QWidget* mainWindow, ZrPluginFuncVeldra& host,
                   int32_t windowId, const RfaSeriesBatchOptions& options = {});
