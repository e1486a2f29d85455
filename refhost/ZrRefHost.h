// The reference host: the host side of the plug-in protocol. ZrRefHost keeps the windows
// and answers one request text at a time (no sockets); ZrRefHostServer serves it over TCP
// (127.0.0.1 only) and a local socket; ZrRefHostThread runs a server on a thread of its own
// so that a client in the same process can block in its waits without stalling the host.
#pragma once

#include <QObject>
#include <QThread>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "formats/ZrSeriesIndex.h"
#include "hostlink/ZrHostTypes.h"
#include "numerics/ZrMatrix.h"
#include "refhost/ZrRefHostFramer.h"

class QSharedMemory;
class QTcpServer;
class QLocalServer;
class QIODevice;
struct ZrRefHostState;

// Faults injected on demand. They apply to every request, or only to requests for the
// function named in onlyFunction.
struct ZrRefHostFaults {
  int32_t SplitBytes = 0;       // > 0: the answer goes out in writes of this many bytes
  int32_t DelayMs = 0;          // wait this long before answering
  bool NoTrailingChar = false;  // the answer ends exactly in "</air>"
  std::string ReturnCode;       // non-empty: sent in place of "ok"
  bool CloseMidAnswer = false;  // send half of the answer, then close the connection
  bool ShortBlock = false;      // image blocks made for a get are smaller than their header says
  std::string OnlyFunction;
};

struct ZrRefHostLine {
  int32_t Id = 0;
  float X0 = 0, Y0 = 0, X1 = 0, Y1 = 0, Width = 0;
  ZrColor Color;
  bool IsMovable = false;
  std::string Name;
};

struct ZrRefHostWindow {
  int32_t Id = 0;
  std::string Mode = "image";  // window mode: "image", "image3D" or "wave"
  bool IsSeries = false;
  ZrFloatMatrix Image;
  std::string FileName;  // file the image came from, empty for a new window
  std::map<std::string, double> KeyDouble;
  std::map<std::string, std::string> KeyString;
  std::map<int32_t, ZrRegion> Regions;
  std::map<int32_t, ZrRefHostLine> Lines;
  // Series windows.
  std::string SeriesFolder;  // folder that relative entry files are taken from
  ZrSeriesIndex Series;
  std::vector<std::string> SavedFiles;  // per entry: where SeriesImageSave put it (absolute)
  int32_t CurrentIndex = 0;
  uint64_t Revision = 0;  // the host's revision at this window's last change
};

// Result of handling one request text.
struct ZrRefHostAnswer {
  std::string Text;      // the answer, ending with a line feed after "</air>"
  std::string Function;  // the requested function name ("" when unreadable)
  bool Quit = false;     // the request asked the host to end
};

class ZrRefHost {
 public:
  ZrRefHost();
  ~ZrRefHost();

  // Answers one complete request text. Thread-safe. `client` tells the connections of a
  // server apart (0 for a caller without one): an image block made for a client's image get
  // stays that client's until its next request, ClientGone, or the bound below.
  ZrRefHostAnswer Handle(const std::string& requestText, int64_t client = 0);
  // The client's connection closed: its image block is released.
  void ClientGone(int64_t client);
  // At most this many image-get blocks live at once (default 16, at least 1): past it the one
  // handed out longest ago is released, with a log line.
  void SetMaxImageBlocks(size_t count);
  // Keys of the image-get blocks alive now, in the order they were made.
  std::vector<std::string> ImageBlockKeys() const;

  // The control requests "RefHostDump" and "RefHostQuit" are refused unless allowed; a dump
  // they ask for is written only inside the output folder.
  void SetControlRequests(bool allowed);

  // Scripting. Every call is thread-safe; new windows take the focus.
  int32_t AddImageWindow(const ZrFloatMatrix& image, const std::string& fileName = "");
  int32_t LoadImageWindow(const std::string& path);
  // A folder of image files (sorted by name) or a "*.xmlsrs" index file.
  int32_t LoadSeriesWindow(const std::string& path, const std::string& mode = "image");
  void SetFocus(int32_t id);
  int32_t Focus() const;
  std::vector<int32_t> WindowIds() const;
  bool GetWindow(int32_t id, ZrRefHostWindow& copy) const;
  void SetWindowImage(int32_t id, const ZrFloatMatrix& image);
  void SetLoaded(bool isLoaded, bool isSuccess);

  // Folder for relative file names of SeriesImageSave/SeriesSaveRenew, and the only folder
  // (with its subfolders) that a control request may dump to.
  void SetOutputDir(const std::string& folder);
  // Every window: "window_<id>.rawf" (image, begins kept) and "window_<id>.xml" (keys,
  // regions, lines, series state). The folder is made when missing.
  void Dump(const std::string& folder) const;

  void SetFaults(const ZrRefHostFaults& faults);
  ZrRefHostFaults Faults() const;
  // The faults that apply to a request for this function (defaults when filtered out).
  ZrRefHostFaults FaultsFor(const std::string& function) const;

  // Every request text as received, in order; optionally appended to a log file too. A
  // long-running host with a view turns the in-memory record off.
  std::vector<std::string> Requests() const;
  void ClearRequests();
  void SetRecordRequests(bool record);
  void SetRequestLog(const std::string& path);

  // Counts the changes to windows and focus: a request that may change something (any but
  // those that only get), and the scripting calls above. A view redraws only the windows
  // whose revision moved since it drew them; WindowRevision is 0 for no such window.
  uint64_t Revision() const;
  uint64_t WindowRevision(int32_t id) const;
  // Called after each change, on the thread that made it, with the host's lock held: it must
  // not call back into the host (posting an event is what it is for). Empty to remove.
  void SetChangeListener(std::function<void()> listener);

 private:
  std::unique_ptr<ZrRefHostState> state_;
  mutable std::recursive_mutex mutex_;  // guards state_
};

// Serves a ZrRefHost on TCP and a local socket; lives in the thread that runs its events.
// Nothing waits inside the event loop: answers are queued and go out as the client reads, and
// one request per connection is handled per turn of the loop, so a client that pipelines
// requests or stops reading never holds up the others.
class ZrRefHostServer : public QObject {
  Q_OBJECT
 public:
  // Bounds per connection. A request still without its end past maxRequestBytes, or answers
  // left unread past maxUnreadBytes when the next one is due, close the connection with a
  // log line.
  struct Limits {
    int64_t MaxRequestBytes = int64_t{32} << 20;
    int64_t MaxUnreadBytes = int64_t{16} << 20;
  };

  explicit ZrRefHostServer(ZrRefHost& host, QObject* parent = nullptr);
  ~ZrRefHostServer() override;

  // Port 0 picks a free one; an empty local name skips the local server. False on failure.
  bool Listen(uint16_t port, const std::string& localName);
  uint16_t Port() const;
  std::string ErrorText() const { return error_; }
  void SetLimits(const Limits& limits) { limits_ = limits; }

 signals:
  void QuitRequested();
  // A plug-in connected or went away.
  void ClientsChanged();

 private:
  struct Connection {
    int64_t Id = 0;
    ZrRefHostFramer Requests;
    bool ServeQueued = false;
  };

  void Attach(QIODevice* device);
  void Serve(QIODevice* device);
  void Send(QIODevice* device, const ZrRefHostAnswer& answer);
  void Drop(QIODevice* device, const std::string& why);
  void Forget(QIODevice* device);

  ZrRefHost& host_;
  QTcpServer* tcp_ = nullptr;
  QLocalServer* local_ = nullptr;
  std::map<QIODevice*, Connection> connections_;
  int64_t nextClient_ = 1;
  Limits limits_;
  std::string error_;
};

// A server on a thread of its own, for clients in the same process.
class ZrRefHostThread : public QThread {
 public:
  explicit ZrRefHostThread(ZrRefHost& host, std::string localName = "");
  ~ZrRefHostThread() override;

  // Starts the thread and waits until the server listens; false when it cannot.
  bool Start(uint16_t port = 0);
  void Stop();
  uint16_t Port() const { return port_; }

 protected:
  void run() override;

 private:
  ZrRefHost& host_;
  std::string localName_;
  uint16_t requestedPort_ = 0;
  uint16_t port_ = 0;
  std::mutex mutex_;
  std::condition_variable ready_;
  bool started_ = false;
  bool listening_ = false;
};
