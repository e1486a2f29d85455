// The series batch's work on the host: every image of a series window through the checked
// chain, saved into an output folder, then the renewed index. The dialogs around it are the
// application's (app/RfaNewImage.h).
#pragma once

#include <QString>
#include <cstdint>
#include <functional>

class RfaParameters;
class ZrPluginFuncVeldra;

// What the batch reports while it runs and asks between images; every member may be empty.
struct RfaSeriesHooks {
  std::function<void(int32_t count)> Begin;     // the number of images, before the first
  std::function<void(int32_t index)> Progress;  // the image about to start; the count at the end
  std::function<bool()> Canceled;               // asked before each image and while one loads
  int PollIntervalMs = 100;  // wait between "GetIsLoaded" questions while the host loads
};

// Checks that the window is in image mode ("Please select image window"), reads its series
// keys and image count, then for each image: load and wait (the event loop runs meanwhile),
// read its file name and index keys, run the checked chain on the series window, write the
// index keys back, have the host save the result as outputFolder + "/" + the image's own file
// name; finally the renewed index indexFile. A cancel between images ends with "Canceled.", a
// failed load with "File cannot be loaded."; images saved before stay saved and the index is
// not renewed.
void RfaProcessSeriesImages(const RfaParameters& params, ZrPluginFuncVeldra& host, int32_t windowId,
                            const QString& indexFile, const QString& outputFolder,
                            const RfaSeriesHooks& hooks = {});
