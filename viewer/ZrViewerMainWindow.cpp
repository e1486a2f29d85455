#include "viewer/ZrViewerMainWindow.h"

#include <QAction>
#include <QDockWidget>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QLocalSocket>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QProcess>
#include <QStatusBar>
#include <QTcpSocket>
#include <cfloat>

#include "formats/ZrKeyRecord.h"
#include "hostlink/ZrCmdPackUnpack.h"
#include "hostlink/ZrHostReplies.h"
#include "imageio/ZrImageFile.h"
#include "numerics/ZrError.h"

namespace {
// One request to the host, built and answered exactly as for a plug-in; a "ReturnCode" other
// than "ok" is thrown.
template <class Build>
void Ask(ZrRefHost& host, ZrHostFunction function, Build build) {
  ZrCmdPackUnpack request("w");
  request.OpenCmd();
  request.SetFunc(function);
  build(request);
  request.CloseCmd();
  std::string text;
  request.GetText(text);
  ZrCmdPackUnpack response("r");
  response.SetText(host.Handle(text).Text);
  ZrHostReply::Open(response);
}

// Menu texts are shown as registered: "&" is not a mnemonic marker there.
QString MenuText(const std::string& text) {
  return QString::fromStdString(text).replace("&", "&&");
}
}  // namespace

ZrViewerMainWindow::ZrViewerMainWindow(ZrRefHost& host, uint16_t port, ZrRefHostServer* server,
                                       QWidget* parent)
    : QMainWindow(parent), host_(host), server_(server), port_(port) {
  setWindowTitle(QString("VELDRA-IMAGE reference host (port %1)").arg(port));
  mdi_ = new QMdiArea;
  mdi_->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  mdi_->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
  setCentralWidget(mdi_);
  connect(mdi_, &QMdiArea::subWindowActivated, this, &ZrViewerMainWindow::ActivatedSubWindow);

  keyPanel_ = new ZrViewerKeyPanel;
  auto* keyDock = new QDockWidget("Keys", this);
  keyDock->setObjectName("keysDock");
  keyDock->setWidget(keyPanel_);
  addDockWidget(Qt::RightDockWidgetArea, keyDock);
  profilePanel_ = new ZrViewerProfilePanel([this]() -> const ZrFloatMatrix* {
    const ZrViewerWindow* window = ActiveWindow();
    return window == nullptr ? nullptr : &window->Window().Image;
  });
  auto* profileDock = new QDockWidget("Radial profile", this);
  profileDock->setObjectName("profileDock");
  profileDock->setWidget(profilePanel_);
  addDockWidget(Qt::RightDockWidgetArea, profileDock);

  cursor_ = new QLabel;
  cursor_->setMinimumWidth(260);
  connections_ = new QLabel;
  statusBar()->addWidget(cursor_, 1);
  statusBar()->addPermanentWidget(connections_);

  BuildMenus();

  // The host may change on another thread; the screen follows in this one, once for a burst
  // of changes that arrive before the queued Sync runs. The window holds no request record.
  host_.SetRecordRequests(false);
  host_.SetChangeListener([this] {
    if (syncPosted_.exchange(true)) return;
    QMetaObject::invokeMethod(
        this,
        [this] {
          syncPosted_ = false;
          Sync();
        },
        Qt::QueuedConnection);
  });
  if (server_ != nullptr) {
    connect(server_, &ZrRefHostServer::ClientsChanged, this, &ZrViewerMainWindow::ShowConnections);
  }
  ShowConnections();
  Sync();
}

ZrViewerMainWindow::~ZrViewerMainWindow() {
  // The children are destroyed after this body, when this object is only a QMainWindow: none
  // of their signals (the MDI area's activations above all) may reach it any more.
  // Removed under the host's lock: no change reported after this line reaches this window.
  host_.SetChangeListener({});
  for (QObject* child : findChildren<QObject*>()) child->disconnect(this);
  // Plug-ins started here end with the viewer.
  for (QProcess* process : findChildren<QProcess*>()) {
    process->disconnect();
    process->kill();
    process->waitForFinished(2000);
  }
}

void ZrViewerMainWindow::BuildMenus() {
  QMenu* file = menuBar()->addMenu("&File");
  QAction* open = file->addAction("&Open...", this, &ZrViewerMainWindow::OpenDialog);
  open->setShortcut(QKeySequence::Open);
  file->addAction("Save As &TIFF (32-bit float)...", this,
                  [this] { SaveDialog("TIFF (*.tif *.tiff)", ".tif"); });
  file->addAction("Save As Matrix &XML...", this,
                  [this] { SaveDialog("Matrix XML (*.xml)", ".xml"); });
  file->addSeparator();
  file->addAction("&Quit", this, &QWidget::close)->setShortcut(QKeySequence::Quit);
  QMenu* view = menuBar()->addMenu("&View");
  view->addAction("&Refresh", this, &ZrViewerMainWindow::Sync)->setShortcut(QKeySequence::Refresh);
  view->addAction("&Tile", mdi_, &QMdiArea::tileSubWindows)->setShortcut(Qt::CTRL + Qt::Key_T);
  view->addAction("&Cascade", mdi_, &QMdiArea::cascadeSubWindows);
  // A closed sub-window only hides: the host keeps the window, so it can come back.
  view->addAction("Show &All Windows", this, &ZrViewerMainWindow::ShowAllWindows);
}

void ZrViewerMainWindow::ShowError(const QString& text) {
  statusBar()->showMessage(text, 10000);
  auto* box = new QMessageBox(QMessageBox::Critical, "ERROR", text, QMessageBox::Ok, this);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->setModal(false);
  box->show();
}

void ZrViewerMainWindow::OpenDialog() {
  const QStringList files = QFileDialog::getOpenFileNames(
      this, "Open image", QString(), "Images (*.tif *.tiff *.png *.rawf *.xml);;All files (*)");
  for (const QString& file : files) {
    try {
      OpenFile(file.toStdString());
    } catch (const ZrError& e) {
      ShowError(QString::fromStdString(e.Message));
    }
  }
}

void ZrViewerMainWindow::SaveDialog(const QString& filter, const QString& suffix) {
  if (ActiveWindow() == nullptr) return;
  QString file = QFileDialog::getSaveFileName(this, "Save image", QString(), filter);
  if (file.isEmpty()) return;
  if (!file.endsWith(suffix, Qt::CaseInsensitive) &&
      !(suffix == ".tif" && file.endsWith(".tiff", Qt::CaseInsensitive))) {
    file += suffix;
  }
  try {
    SaveFocused(file.toStdString());
    statusBar()->showMessage("Saved " + file, 5000);
  } catch (const ZrError& e) {
    ShowError(QString::fromStdString(e.Message));
  }
}

int32_t ZrViewerMainWindow::OpenFile(const std::string& path) {
  const int32_t id = host_.LoadImageWindow(path);
  const QFileInfo info(QString::fromStdString(path));
  const std::string keysPath =
      info.dir().filePath(info.completeBaseName() + ".keys.xml").toStdString();
  if (QFileInfo::exists(QString::fromStdString(keysPath))) {
    try {
      std::map<std::string, double> doubles;
      std::map<std::string, std::string> texts;
      ZrKeyRecordRead(keysPath, doubles, texts);
      Ask(host_, ZrHostFunction::ImageKeyDoubleSet, [&](ZrCmdPackUnpack& request) {
        int32_t window = id;
        request.IDDocChildWindow(window);
        request.Packer().KeyDoubleList("ImageKeyDouble", doubles);
      });
      Ask(host_, ZrHostFunction::ImageKeyStringSet, [&](ZrCmdPackUnpack& request) {
        int32_t window = id;
        request.IDDocChildWindow(window);
        request.Packer().KeyStringList("ImageKeyString", texts);
      });
    } catch (const ZrError& e) {
      // The image is open; only its record is missing.
      statusBar()->showMessage(QString::fromStdString(e.Message), 10000);
    }
  }
  Sync();
  return id;
}

void ZrViewerMainWindow::SaveFocused(const std::string& path) {
  ZrRefHostWindow window;
  if (!host_.GetWindow(host_.Focus(), window)) throw ZrError("No window has the focus");
  const std::string extension =
      QFileInfo(QString::fromStdString(path)).suffix().toLower().toStdString();
  if (extension != "tif" && extension != "tiff" && extension != "xml") {
    throw ZrError("Save as .tif, .tiff or .xml:" + path);
  }
  ZrImageWrite(path, window.Image);
}

void ZrViewerMainWindow::FitToImage(QMdiSubWindow* sub) {
  auto* widget = static_cast<ZrViewerWindow*>(sub->widget());
  const QSize image = widget->View()->sizeHint();
  const QSize room = mdi_->viewport()->size();
  const QSize wanted = sub->sizeHint().expandedTo(image + QSize(40, 110));
  sub->resize(std::max(200, std::min(wanted.width(), room.width())),
              std::max(150, std::min(wanted.height(), room.height())));
}

void ZrViewerMainWindow::ShowAllWindows() {
  for (const auto& [id, sub] : subs_) {
    (void)id;
    sub->show();
  }
}

void ZrViewerMainWindow::Tile() {
  mdi_->tileSubWindows();
}

void ZrViewerMainWindow::ShowConnections() {
  if (server_ != nullptr) {
    connections_->setText(
        QString("port %1, %2 plug-in(s) connected").arg(port_).arg(ClientCount()));
  } else {
    connections_->setText(QString("port %1").arg(port_));
  }
}

void ZrViewerMainWindow::Sync() {
  if (syncing_) return;
  // Read before the windows: a change made while they are read moves it again and queues
  // another Sync.
  const uint64_t revision = host_.Revision();
  if (revision == shownRevision_) return;
  syncing_ = true;
  shownRevision_ = revision;
  const std::vector<int32_t> ids = host_.WindowIds();
  for (auto it = subs_.begin(); it != subs_.end();) {
    if (std::find(ids.begin(), ids.end(), it->first) == ids.end()) {
      it->second->close();
      it->second->deleteLater();
      shownRevisions_.erase(it->first);
      it = subs_.erase(it);
    } else {
      ++it;
    }
  }
  for (int32_t id : ids) {
    auto found = subs_.find(id);
    const uint64_t windowRevision = host_.WindowRevision(id);
    if (found != subs_.end() && shownRevisions_[id] == windowRevision) continue;
    ZrRefHostWindow window;
    if (!host_.GetWindow(id, window)) continue;
    shownRevisions_[id] = windowRevision;
    if (found == subs_.end()) {
      auto* widget = new ZrViewerWindow(id);
      connect(widget, &ZrViewerWindow::CursorMoved, cursor_, &QLabel::setText);
      connect(widget, &ZrViewerWindow::SeriesIndexChosen, this,
              &ZrViewerMainWindow::ChooseSeriesIndex);
      widget->Refresh(window);
      QMdiSubWindow* sub = mdi_->addSubWindow(widget);
      sub->setAttribute(Qt::WA_DeleteOnClose, false);
      sub->show();
      found = subs_.emplace(id, sub).first;
      FitToImage(sub);
    } else {
      auto* widget = static_cast<ZrViewerWindow*>(found->second->widget());
      const QSize before = widget->View()->sizeHint();
      widget->Refresh(window);
      // A plug-in's new window gets its image after it is made: fit it then.
      if (before.isEmpty() && !widget->View()->sizeHint().isEmpty()) FitToImage(found->second);
    }
    found->second->setWindowTitle(static_cast<ZrViewerWindow*>(found->second->widget())->Title());
  }
  // A window the host focused (a plug-in's new window) comes to the front.
  const int32_t focus = host_.Focus();
  if (focus != shownFocus_) {
    auto found = subs_.find(focus);
    if (found != subs_.end()) mdi_->setActiveSubWindow(found->second);
    shownFocus_ = focus;
  }
  syncing_ = false;
  ShowKeys();
  ShowProfile();
}

void ZrViewerMainWindow::ActivatedSubWindow(QMdiSubWindow* sub) {
  if (sub == nullptr) return;
  auto* widget = qobject_cast<ZrViewerWindow*>(sub->widget());
  if (widget == nullptr) return;
  if (host_.Focus() != widget->Id()) host_.SetFocus(widget->Id());
  shownFocus_ = widget->Id();
  if (syncing_) return;
  ShowKeys();
  ShowProfile();
}

ZrViewerWindow* ZrViewerMainWindow::WindowWidget(int32_t id) const {
  auto found = subs_.find(id);
  return found == subs_.end() ? nullptr : static_cast<ZrViewerWindow*>(found->second->widget());
}

ZrViewerWindow* ZrViewerMainWindow::ActiveWindow() const {
  return WindowWidget(host_.Focus());
}

void ZrViewerMainWindow::ShowKeys() {
  const ZrViewerWindow* window = ActiveWindow();
  keyPanel_->Show(window == nullptr ? nullptr : &window->Window());
}

void ZrViewerMainWindow::SetProfileCentre(double cx, double cy) {
  profilePanel_->SetCentre(cx, cy);
}

void ZrViewerMainWindow::ShowProfile() {
  profilePanel_->Refresh();
}

void ZrViewerMainWindow::ChooseSeriesIndex(int32_t id, int32_t index) {
  // The same request a plug-in would send, so the host loads the image its own way.
  try {
    Ask(host_, ZrHostFunction::SeriesImageIndexSetWithLoadImage, [&](ZrCmdPackUnpack& request) {
      request.IDDocChildWindow(id);
      request.Index(index);
    });
  } catch (const ZrError& e) {
    ShowError(QString::fromStdString(e.Message));
  }
  Sync();
}

std::vector<ZrViewerMenuItem> ZrViewerMainWindow::LoadPlugins(const std::string& folder) {
  for (QMenu* menu : pluginMenus_) {
    menuBar()->removeAction(menu->menuAction());
    menu->deleteLater();
  }
  pluginMenus_.clear();
  std::vector<std::string> errors;
  std::vector<ZrViewerMenuItem> items = ZrViewerMenuScan(folder, &errors);
  for (const std::string& error : errors) {
    statusBar()->showMessage(QString::fromStdString(error), 10000);
  }
  std::map<QString, QMenu*> menus;
  std::map<std::pair<QString, QString>, QMenu*> submenus;
  for (const ZrViewerMenuItem& item : items) {
    const QString menuTitle = MenuText(item.Entry.TitleMenu);
    QMenu*& menu = menus[menuTitle];
    if (menu == nullptr) {
      menu = menuBar()->addMenu(menuTitle);
      pluginMenus_.push_back(menu);
    }
    QMenu* target = menu;
    if (!item.Entry.TitleSubmenu.empty()) {
      const QString subTitle = MenuText(item.Entry.TitleSubmenu);
      QMenu*& submenu = submenus[{menuTitle, subTitle}];
      if (submenu == nullptr) submenu = menu->addMenu(subTitle);
      target = submenu;
    }
    QAction* action = target->addAction(MenuText(item.Entry.Title));
    action->setToolTip(QString::fromStdString(item.MenuFile));
    connect(action, &QAction::triggered, this, [this, item] { StartPlugin(item); });
  }
  return items;
}

QProcess* ZrViewerMainWindow::StartPlugin(const ZrViewerMenuItem& item) {
  try {
    lastLaunch_ = ZrViewerMenuLaunch(item, port_);
  } catch (const ZrError& e) {
    ShowError(QString::fromStdString(e.Message));
    return nullptr;
  }
  auto* process = new QProcess(this);
  process->setProcessChannelMode(QProcess::ForwardedChannels);
  process->setWorkingDirectory(QFileInfo(lastLaunch_.Program).absolutePath());
  connect(process, &QProcess::errorOccurred, this, [this, process](QProcess::ProcessError) {
    ShowError(QString("Cannot start %1: %2").arg(process->program(), process->errorString()));
  });
  connect(process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), process,
          &QObject::deleteLater);
  process->start(lastLaunch_.Program, lastLaunch_.Arguments);
  statusBar()->showMessage("Started " + lastLaunch_.Program + " " + lastLaunch_.Arguments.join(' '),
                           5000);
  return process;
}

int ZrViewerMainWindow::ClientCount() const {
  if (server_ == nullptr) return 0;
  int count = 0;
  for (const QTcpSocket* socket : server_->findChildren<QTcpSocket*>()) {
    if (socket->state() == QAbstractSocket::ConnectedState) ++count;
  }
  for (const QLocalSocket* socket : server_->findChildren<QLocalSocket*>()) {
    if (socket->state() == QLocalSocket::ConnectedState) ++count;
  }
  return count;
}
