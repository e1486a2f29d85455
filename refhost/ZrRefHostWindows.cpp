// Handlers of the window functions: focus, new windows, modes and file names.
#include <QFileInfo>

#include "refhost/ZrRefHostHandlers.h"

namespace {

std::string BaseName(const std::string& path) {
  return QFileInfo(QString::fromStdString(path)).fileName().toStdString();
}

void Update(ZrRefHostCall&) {}

void WindowGetFocusedID(ZrRefHostCall& call) {
  call.Result("IDDocChildWindow", call.Host.Focus);
}

void ImageNewWindow(ZrRefHostCall& call) {
  call.Result("IDDocChildWindow", call.Host.NewWindow(ZrRefHostWindow()));
}

// A window that does not exist is in no mode.
void GetIsModeImage(ZrRefHostCall& call) {
  const auto it = call.Host.Windows.find(call.WindowId);
  call.Result("isModeImage", it != call.Host.Windows.end() && it->second.Mode == "image");
}

void GetIsModeSeries(ZrRefHostCall& call) {
  const auto it = call.Host.Windows.find(call.WindowId);
  call.Result("isModeSeries", it != call.Host.Windows.end() && it->second.IsSeries);
}

// Without its folder; of a series, the current image's.
void GetFileName(ZrRefHostCall& call) {
  ZrRefHostWindow& w = call.Window();
  call.Result("filenameUtf8", BaseName(w.IsSeries ? call.Host.CurrentEntry(w).File : w.FileName));
}

}  // namespace

std::vector<ZrRefHostHandlerRow> ZrRefHostWindowHandlers() {
  return {{ZrHostFunction::Update, Update},
          {ZrHostFunction::WindowGetFocusedID, WindowGetFocusedID},
          {ZrHostFunction::ImageNewWindow, ImageNewWindow},
          {ZrHostFunction::GetIsModeImage, GetIsModeImage},
          {ZrHostFunction::GetIsModeSeries, GetIsModeSeries},
          {ZrHostFunction::GetFileName, GetFileName}};
}
