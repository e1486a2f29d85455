// The program's proxy of the host image viewer: every operation is one host function,
// performed as one request and one response over the socket; images go through shared
// memory. Everything runs on the GUI thread; waits keep the GUI alive with processEvents.
#pragma once

#include <QElapsedTimer>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "formats/ZrMenuFile.h"
#include "hostlink/ZrCmdPackUnpack.h"
#include "hostlink/ZrCommonClientSocket.h"
#include "hostlink/ZrHostTypes.h"
#include "numerics/ZrMatrix.h"

class QSharedMemory;

class ZrPluginFuncVeldra {
 public:
  explicit ZrPluginFuncVeldra(std::string hostName = "localhost", int32_t port = 14112,
                              std::string localServerName = "veldraimage");
  virtual ~ZrPluginFuncVeldra();
  ZrPluginFuncVeldra(const ZrPluginFuncVeldra&) = delete;
  ZrPluginFuncVeldra& operator=(const ZrPluginFuncVeldra&) = delete;

  // Start-up.
  void InitMenuAdd(std::string title, std::string titleSubmenu, std::string titleMenu,
                   std::string parameter);
  void InitSetCmdline(int argc, char** argv);
  // Writes the menu registration file (formats/ZrMenuFile.h) beside the program.
  void InitMenuFileWrite();
  // The menu file's name for an executable path: its extension replaced by ".menu".
  static std::string MenuFileName(const std::string& programPath);
  // The executable's file name: the part after the last "/" or "\".
  static std::string ExeName(const std::string& programPath);

  // Connection and one exchange.
  void SubConnect();
  void SubSendRecv(ZrCmdPackUnpack& request, ZrCmdPackUnpack& response);

  // Host operations.
  void UpdateAll();
  int32_t WindowGetFocusedID();
  bool GetIsModeImage(int32_t id);
  bool GetIsModeSeries(int32_t id);
  int32_t ImageNewWindow();
  void ImageGet(int32_t id, ZrFloatMatrix& image, bool clearNaN);
  void ImageGetBySharedMemory(int32_t id, ZrFloatMatrix& image);
  void ImageSet(int32_t id, const ZrFloatMatrix& image);
  void ImageKeyDoubleGet(int32_t id, std::map<std::string, double>& keys);
  void ImageKeyDoubleSet(int32_t id, const std::map<std::string, double>& keys);
  void ImageKeyStringGet(int32_t id, std::map<std::string, std::string>& keys);
  void ImageKeyStringSet(int32_t id, const std::map<std::string, std::string>& keys);
  int32_t RegionAdd(int32_t id, const ZrRegion& region);
  void RegionClear(int32_t id);
  void RegionGetIDList(int32_t id, ZrLongMatrix& ids, bool bb = false);
  void RegionGet(int32_t id, int32_t regionId, ZrRegion& region);
  virtual void RegionGetIMinMaxAverage(int32_t id, int32_t regionId, float& min, float& max,
                                       float& average);
  virtual int32_t LineAdd(int32_t id, float x0, float y0, float x1, float y1, float width,
                          const ZrColor& color, bool isMovable, const std::string& name);
  virtual void LineGetIDList(int32_t id, ZrLongMatrix& ids);
  int32_t SeriesNewWindow(const std::string& fileNameUtf8, const std::string& mode);
  int32_t SeriesGetCount(int32_t id);
  void SeriesImageIndexSetWithLoadImage(int32_t id, int32_t index);
  void SeriesImageIndexSet(int32_t id, int32_t index);
  void SeriesImageSave(int32_t id, const std::string& fileNameUtf8);
  std::string GetFileName(int32_t id);
  void SeriesKeyDoubleGet(int32_t id, std::map<std::string, double>& keys);
  void SeriesKeyStringGet(int32_t id, std::map<std::string, std::string>& keys);
  void SeriesIndexKeyDoubleGet(int32_t id, std::map<std::string, double>& keys);
  void SeriesIndexKeyDoubleSet(int32_t id, const std::map<std::string, double>& keys);
  void SeriesIndexKeyStringGet(int32_t id, std::map<std::string, std::string>& keys);
  void SeriesIndexKeyStringSet(int32_t id, const std::map<std::string, std::string>& keys);
  void SeriesSaveRenew(int32_t id, const std::string& indexFileUtf8);
  void GetIsLoaded(bool& isLoaded, bool& isSuccess);

  // Settings and state.
  const std::string& HostName() const { return hostName_; }
  int32_t Port() const { return port_; }
  void SetPort(int32_t port) { port_ = port; }
  const std::string& LocalServerName() const { return localServerName_; }
  void SetLocalServerName(const std::string& name) { localServerName_ = name; }
  const std::string& ProgramPath() const { return programPath_; }
  const std::vector<ZrMenuEntry>& MenuList() const { return menuList_; }
  const std::string& MenuTitle() const { return menuTitle_; }
  std::vector<std::string>& FileLoaderExtensions() { return fileLoaderExtensions_; }
  bool UseLocalSocket() const { return useLocalSocket_; }
  void SetUseLocalSocket(bool use) { useLocalSocket_ = use; }  // before the socket is made
  bool UseSharedMemory() const { return useSharedMemory_; }
  void SetUseSharedMemory(bool use) { useSharedMemory_ = use; }
  bool IsCanceled() const { return cancel_; }
  void SetCancel(bool cancel) { cancel_ = cancel; }
  bool IsBusy() const { return busy_; }
  const std::string& RequestText() const { return requestText_; }
  const std::string& ResponseText() const { return responseText_; }
  ZrCommonClientSocket* Socket() { return socket_.get(); }
  // Key of the block of the last image set (empty before the first).
  std::string LastImageSetKey() const { return lastImageSetKey_; }

  // Timings of the exchange; defaults are the protocol's, tests may shorten them.
  void SetConnectAttempts(int32_t n) { connectAttempts_ = n; }
  void SetSendAttempts(int32_t n) { sendAttempts_ = n; }
  void SetPollCount(int32_t n) { pollCount_ = n; }
  void SetPollSleepMs(int32_t ms) { pollSleepMs_ = ms; }
  void SetConnectTimeoutMs(int32_t ms) { connectTimeoutMs_ = ms; }
  int32_t ConnectAttempts() const { return connectAttempts_; }
  int32_t SendAttempts() const { return sendAttempts_; }
  int32_t PollCount() const { return pollCount_; }
  int32_t PollSleepMs() const { return pollSleepMs_; }

 private:
  void MakeSocket();
  void RecvMsg(bool& complete);
  template <class Build, class Read>
  void Call(ZrHostFunction function, const char* signature, Build build, Read read);

  std::string hostName_;
  int32_t port_;
  std::string localServerName_;
  std::string programPath_;
  std::string menuTitle_;
  std::vector<ZrMenuEntry> menuList_;
  std::vector<std::string> fileLoaderExtensions_;

  std::unique_ptr<ZrCommonClientSocket> socket_;
  std::string requestText_;
  std::string responseText_;
  bool busy_ = false;
  bool useSharedMemory_ = true;
  bool cancel_ = false;
  bool useLocalSocket_ = false;

  std::unique_ptr<QSharedMemory> writeBlock_;
  QElapsedTimer keyTimer_;
  int64_t lastKeyMs_ = -1;
  std::string lastImageSetKey_;

  int32_t connectAttempts_ = 5;
  int32_t sendAttempts_ = 3;
  int32_t pollCount_ = 5000;
  int32_t pollSleepMs_ = 10;
  int32_t connectTimeoutMs_ = 1000;
};
