// The host proxy: start-up settings, the menu file, the connection and the exchange loop. The
// host operations are in ZrPluginFuncVeldraCalls.cpp.
#include "hostlink/ZrPluginFuncVeldra.h"

#include <QCoreApplication>
#include <QSharedMemory>
#include <QThread>
#include <iostream>
#include <sstream>

#include "hostlink/ZrAnswerEnd.h"
#include "hostlink/ZrShielded.h"

ZrPluginFuncVeldra::ZrPluginFuncVeldra(std::string hostName, int32_t port,
                                       std::string localServerName)
    : hostName_(std::move(hostName)), port_(port), localServerName_(std::move(localServerName)) {
  keyTimer_.start();
}

ZrPluginFuncVeldra::~ZrPluginFuncVeldra() = default;

void ZrPluginFuncVeldra::InitMenuAdd(std::string title, std::string titleSubmenu,
                                     std::string titleMenu, std::string parameter) {
  ZrShielded(
      "void ZrPluginFuncVeldra::InitMenuAdd(std::__cxx11::string, std::__cxx11::string, "
      "std::__cxx11::string, std::__cxx11::string)",
      [&] {
        ZrMenuEntry entry;
        entry.Title = title;
        entry.TitleSubmenu = titleSubmenu;
        entry.TitleMenu = titleMenu;
        entry.Parameter = parameter;
        menuList_.push_back(entry);
        menuTitle_ = title;
      });
}

// Each word from argv[1] to argv[argc-2] is a possible option name whose value is the next
// word; the scan moves one word at a time, so a value is also tested as an option name.
void ZrPluginFuncVeldra::InitSetCmdline(int argc, char** argv) {
  ZrShielded("void ZrPluginFuncVeldra::InitSetCmdline(int, char**)", [&] {
    if (argc > 0 && argv != nullptr && argv[0] != nullptr) programPath_ = argv[0];
    if (argc <= 2) return;
    for (int i = 1; i < argc - 1; ++i) {
      const std::string word = argv[i];
      if (word == "-P") {
        int32_t port = 0;
        std::istringstream in(argv[i + 1]);
        in >> port;  // a failed extraction leaves 0
        port_ = port;
      }
      if (word == "-L") localServerName_ = argv[i + 1];
    }
  });
}

std::string ZrPluginFuncVeldra::MenuFileName(const std::string& programPath) {
  const size_t separator = programPath.find_last_of("/\\");
  const size_t dot = programPath.rfind('.');
  const bool dotInName =
      dot != std::string::npos && dot != 0 && (separator == std::string::npos || dot > separator);
  return (dotInName ? programPath.substr(0, dot) : programPath) + ".menu";
}

std::string ZrPluginFuncVeldra::ExeName(const std::string& programPath) {
  const size_t separator = programPath.find_last_of("/\\");
  return separator == std::string::npos ? programPath : programPath.substr(separator + 1);
}

void ZrPluginFuncVeldra::InitMenuFileWrite() {
  ZrShielded(
      "void ZrPluginFuncVeldra::InitMenuFileWrite()",
      [&] {
        const std::string exe = ExeName(programPath_);
        for (auto& entry : menuList_) entry.Exe = exe;
        ZrMenuFileWrite(MenuFileName(programPath_), menuList_, fileLoaderExtensions_);
      },
      ZrTrail::Append);
}

void ZrPluginFuncVeldra::MakeSocket() {
  if (socket_) return;
  if (useLocalSocket_) {
    socket_ = std::make_unique<ZrCommonClientLocalSocket>(localServerName_);
  } else {
    // The port is kept signed from the command line and narrowed here, as the socket takes it.
    socket_ = std::make_unique<ZrCommonClientTcpSocket>(hostName_, static_cast<uint16_t>(port_));
  }
  socket_->ConnectTimeoutMs = connectTimeoutMs_;
}

void ZrPluginFuncVeldra::SubConnect() {
  ZrShielded("void ZrPluginFuncVeldra::SubConnect()", [&] {
    MakeSocket();
    if (socket_->IsConnected()) return;
    for (int32_t attempt = 0; attempt < connectAttempts_; ++attempt) {
      socket_->Connect();
      if (socket_->IsConnected()) break;
    }
    if (!socket_->IsConnected()) throw ZrError("VELDRA-IMAGE main window is not found.");
  });
}

// Polls for the answer of one send attempt, joining the reads until ZrAnswerComplete.
void ZrPluginFuncVeldra::RecvMsg(bool& complete) {
  for (int32_t poll = 0; poll < pollCount_; ++poll) {
    if (socket_->Read()) {
      responseText_ += socket_->ReceivedText;
      socket_->ReceivedText.clear();
      if (ZrAnswerComplete(responseText_)) {
        complete = true;
        return;
      }
    }
    if (cancel_) throw ZrError("CANCELED");
    if (!socket_->IsConnected()) {
      std::cout << "SOCKET IS NOT ACTIVE. \n" << std::flush;
      throw ZrError("Socket is not active");
    }
    QThread::msleep(static_cast<unsigned long>(pollSleepMs_));
    QCoreApplication::processEvents(QEventLoop::AllEvents);
  }
}

void ZrPluginFuncVeldra::SubSendRecv(ZrCmdPackUnpack& request, ZrCmdPackUnpack& response) {
  ZrShielded("void ZrPluginFuncVeldra::SubSendRecv(ZrCmdPackUnpack&, ZrCmdPackUnpack&)", [&] {
    if (busy_) throw ZrError("SYSTEM ERROR:Function is doublly called");
    busy_ = true;
    struct BusyReset {
      bool& Flag;
      ~BusyReset() { Flag = false; }
    } reset{busy_};
    request.GetText(requestText_);
    MakeSocket();
    socket_->ReceivedText.clear();
    responseText_.clear();
    cancel_ = false;
    bool complete = false;
    for (int32_t attempt = 0; attempt < sendAttempts_ && !complete; ++attempt) {
      socket_->Write(requestText_);
      RecvMsg(complete);
    }
    response.SetText(responseText_);
  });
}
