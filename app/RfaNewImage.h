// "New Image (Apply checked operations)": the checked chain on the focused host image, or on
// every image of a focused series.
#pragma once

#include <cstdint>

class QWidget;
class RfaParameters;
class ZrPluginFuncVeldra;

// Asks "Process All images?" (title "Information", Yes/No, application-modal). True for Yes.
bool RfaAskProcessAllImages(QWidget* parent);

// The series batch (rfahost/RfaSeriesBatch.h) with its dialogs: first the output index file
// ("_index.xmlsrs"; cancel ends silently), then a progress dialog owned by mainWindow that
// allows cancelling between images.
void ProcessSeries(const RfaParameters& params, QWidget* mainWindow, ZrPluginFuncVeldra& host,
                   int32_t windowId);

// Focused window must be an image window ("Please select image window"). A series window asks
// the question above: Yes runs the series batch, No processes the shown image. Returns the new
// window's id, or -1 when the batch ran.
int32_t RfaNewImageCommand(const RfaParameters& params, QWidget* parent, ZrPluginFuncVeldra& host);
