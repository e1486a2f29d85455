// The viewer's main window: one sub-window per host window, the key records of the focused
// window, its radial profile, and the plug-in menus. The host's windows are the model; the
// screen follows it (the host reports each change, and only windows that changed are drawn
// again), and the active sub-window is the host's focus.
#pragma once

#include <QMainWindow>
#include <QString>
#include <atomic>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "refhost/ZrRefHost.h"
#include "viewer/ZrViewerMenu.h"
#include "viewer/ZrViewerPanels.h"
#include "viewer/ZrViewerWindow.h"

class QLabel;
class QMdiArea;
class QMdiSubWindow;
class QPlainTextEdit;
class QProcess;
class QTreeWidget;

class ZrViewerMainWindow : public QMainWindow {
  Q_OBJECT
 public:
  // port: the host's TCP port, given to the plug-ins started from the menu. server (may be
  // null): the server in this thread whose connections the status bar counts.
  ZrViewerMainWindow(ZrRefHost& host, uint16_t port, ZrRefHostServer* server = nullptr,
                     QWidget* parent = nullptr);
  ~ZrViewerMainWindow() override;

  // Image file into a new host window (throws the file's ZrError); its id. A key record side
  // file "<name>.keys.xml" beside it (as rfa-process writes) becomes the window's keys.
  int32_t OpenFile(const std::string& path);
  // The focused window's image: ".tif"/".tiff" 32-bit float, ".xml" matrix XML, by extension.
  void SaveFocused(const std::string& path);
  // Brings the sub-windows that changed, the key panel and the profile up to the host's state.
  void Sync();
  // Arranges the sub-windows side by side.
  void Tile();
  // Shows the sub-windows the user closed (the host keeps every window).
  void ShowAllWindows();

  // Plug-in menus from the "*.menu" files of folder (replacing earlier ones); the items.
  std::vector<ZrViewerMenuItem> LoadPlugins(const std::string& folder);
  // Starts a registered program; the process (owned by this window).
  QProcess* StartPlugin(const ZrViewerMenuItem& item);
  const ZrViewerLaunch& LastLaunch() const { return lastLaunch_; }
  // Connections from plug-ins open right now.
  int ClientCount() const;

  ZrViewerWindow* WindowWidget(int32_t id) const;
  ZrViewerWindow* ActiveWindow() const;
  QTreeWidget* KeyTree() const { return keyPanel_->KeyTree(); }
  QPlainTextEdit* LogView() const { return keyPanel_->LogView(); }
  QLabel* CursorLabel() const { return cursor_; }
  QtCharts::QLineSeries* ProfileSeries() const { return profilePanel_->Series(); }
  // Until a centre is chosen (here or in the spin boxes) the image's centre is used.
  void SetProfileCentre(double cx, double cy);

 private:
  void BuildMenus();
  void ShowConnections();
  void ActivatedSubWindow(QMdiSubWindow* sub);
  void ShowKeys();
  void FitToImage(QMdiSubWindow* sub);
  void ShowProfile();
  void ChooseSeriesIndex(int32_t id, int32_t index);
  void ShowError(const QString& text);
  void OpenDialog();
  void SaveDialog(const QString& filter, const QString& suffix);

  ZrRefHost& host_;
  ZrRefHostServer* server_ = nullptr;
  uint16_t port_;
  QMdiArea* mdi_ = nullptr;
  std::map<int32_t, QMdiSubWindow*> subs_;
  int32_t shownFocus_ = -1;
  bool syncing_ = false;
  uint64_t shownRevision_ = 0;                  // the host's revision the screen shows
  std::map<int32_t, uint64_t> shownRevisions_;  // per window
  std::atomic<bool> syncPosted_{false};         // a Sync is queued for the host's last change
  ZrViewerKeyPanel* keyPanel_ = nullptr;
  ZrViewerProfilePanel* profilePanel_ = nullptr;
  QLabel* cursor_ = nullptr;
  QLabel* connections_ = nullptr;
  std::vector<QMenu*> pluginMenus_;
  ZrViewerLaunch lastLaunch_;
};
