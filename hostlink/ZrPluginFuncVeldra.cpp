// The host proxy: start-up settings, the menu file, the exchange loop and every host
// operation the program sends.
#include "hostlink/ZrPluginFuncVeldra.h"

#include <QCoreApplication>
#include <QSharedMemory>
#include <QThread>
#include <climits>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <sstream>

#include "hostlink/ZrHostReplies.h"
#include "hostlink/ZrSharedImageBlock.h"
#include "numerics/ZrMatrixOperator.h"

namespace {

// How many numbers an image set tries when its key is taken by another process.
constexpr int kImageSetKeyAttempts = 1000;

const char* const kWindowModes[] = {"image", "image3D", "wave"};

// Runs f; a ZrError passes unchanged, anything else becomes "undefined err:" + signature.
template <class F>
auto Shielded(const char* signature, F&& f) -> decltype(f()) {
  try {
    return f();
  } catch (const ZrError&) {
    throw;
  } catch (...) {
    throw ZrError(std::string("undefined err:") + signature);
  }
}

// Reads or writes the menu tree below the root "VELDRA-MENU", the packer's mode deciding.
void MenuExchange(ZrPackUnpack::ZrPackUnpackXml& packer, std::vector<ZrMenuEntry>& entries,
                  std::vector<std::string>& extensions) {
  const bool writing = packer.GetMode() == "w";
  packer.StringList("FileLoaderExtWithComma_", extensions);
  if (!packer.OpenRack("menuList")) return;
  if (!writing) entries.clear();
  for (size_t i = 0; !writing || i < entries.size() + 1; ++i) {
    if (writing && i == entries.size()) break;
    const std::string name = "i" + std::to_string(i);
    if (!packer.OpenRack(name)) break;
    ZrMenuEntry entry = writing ? entries[i] : ZrMenuEntry();
    packer.Value("Exe", entry.Exe);
    packer.Value("Parameter", entry.Parameter);
    packer.Value("Title", entry.Title);
    packer.Value("TitleSubmenu", entry.TitleSubmenu);
    packer.Value("TitleMenu", entry.TitleMenu);
    packer.CloseRack(name);
    if (!writing) entries.push_back(entry);
  }
  packer.CloseRack("menuList");
}

}  // namespace

ZrPluginFuncVeldra::ZrPluginFuncVeldra(std::string hostName, int32_t port,
                                       std::string localServerName)
    : hostName_(std::move(hostName)), port_(port), localServerName_(std::move(localServerName)) {
  keyTimer_.start();
}

ZrPluginFuncVeldra::~ZrPluginFuncVeldra() = default;

void ZrPluginFuncVeldra::InitMenuAdd(std::string title, std::string titleSubmenu,
                                     std::string titleMenu, std::string parameter) {
  Shielded(
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
  Shielded("void ZrPluginFuncVeldra::InitSetCmdline(int, char**)", [&] {
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
  static const char kSignature[] = "void ZrPluginFuncVeldra::InitMenuFileWrite()";
  try {
    const std::string path = MenuFileName(programPath_);
    const std::string exe = ExeName(programPath_);
    for (auto& entry : menuList_) entry.Exe = exe;
    boost::shared_ptr<ZrBarnXml> document(new ZrBarnXml("w"));
    ZrPackUnpack::ZrPackUnpackXml packer(document);
    packer.OpenRack("VELDRA-MENU");
    MenuExchange(packer, menuList_, fileLoaderExtensions_);
    packer.CloseRack("VELDRA-MENU");
    std::string text;
    packer.GetText(text);
    FILE* file = std::fopen(path.c_str(), "w");
    if (file == nullptr) throw ZrError("Cannot File Open " + path);
    const size_t written = std::fwrite(text.data(), 1, text.size(), file);
    const bool closed = std::fclose(file) == 0;
    if (written != text.size() || !closed) throw ZrError("Cannot File Open " + path);
  } catch (ZrError& e) {
    e.AppendTrail(kSignature);
    throw;
  } catch (...) {
    throw ZrError(std::string("undefined err:") + kSignature);
  }
}

void ZrPluginFuncVeldra::MenuFileRead(const std::string& path, std::vector<ZrMenuEntry>& entries,
                                      std::vector<std::string>& extensions) {
  FILE* file = std::fopen(path.c_str(), "r");
  if (file == nullptr) throw ZrError(path + ": Cannot File Open");
  std::string text;
  char buffer[4096];
  size_t n = 0;
  while ((n = std::fread(buffer, 1, sizeof(buffer), file)) > 0) text.append(buffer, n);
  std::fclose(file);
  boost::shared_ptr<ZrBarnXml> document(new ZrBarnXml("r"));
  ZrPackUnpack::ZrPackUnpackXml packer(document);
  packer.SetTextWithRoot(text, "VELDRA-MENU");
  MenuExchange(packer, entries, extensions);
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
  Shielded("void ZrPluginFuncVeldra::SubConnect()", [&] {
    MakeSocket();
    if (socket_->IsConnected()) return;
    for (int32_t attempt = 0; attempt < connectAttempts_; ++attempt) {
      socket_->Connect();
      if (socket_->IsConnected()) break;
    }
    if (!socket_->IsConnected()) throw ZrError("VELDRA-IMAGE main window is not found.");
  });
}

// Polls for the answer of one send attempt. The answer is complete when "</air>" stands
// one character before its end: the host always sends one character (a line feed) after
// its closing root tag.
void ZrPluginFuncVeldra::RecvMsg(bool& complete) {
  for (int32_t poll = 0; poll < pollCount_; ++poll) {
    if (socket_->Read()) {
      responseText_ += socket_->ReceivedText;
      socket_->ReceivedText.clear();
      const size_t n = responseText_.size();
      if (n > 6 && responseText_.compare(n - 7, 6, "</air>") == 0) {
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
  Shielded("void ZrPluginFuncVeldra::SubSendRecv(ZrCmdPackUnpack&, ZrCmdPackUnpack&)", [&] {
    if (busy_) throw ZrError("SYSTEM ERROR:Function is doublly called");
    busy_ = true;
    struct BusyReset {
      bool& flag;
      ~BusyReset() { flag = false; }
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

template <class Build, class Read>
void ZrPluginFuncVeldra::Call(int32_t function, const char* signature, Build build, Read read) {
  Shielded(signature, [&] {
    ZrCmdPackUnpack request("w");
    ZrCmdPackUnpack response("r");
    request.OpenCmd();
    request.SetFunc(function);
    build(request);
    request.CloseCmd();
    SubSendRecv(request, response);
    read(response);
  });
}

namespace {
auto NoArguments = [](ZrCmdPackUnpack&) {};
auto NotRead = [](ZrCmdPackUnpack&) {};
auto WindowArgument(int32_t& id) {
  return [&id](ZrCmdPackUnpack& request) { request.IDDocChildWindow(id); };
}
}  // namespace

void ZrPluginFuncVeldra::UpdateAll() {
  Call(1, "void ZrPluginFuncVeldra::UpdateAll()", NoArguments, NotRead);
}

int32_t ZrPluginFuncVeldra::WindowGetFocusedID() {
  int32_t id = -1;
  Call(4, "int32_t ZrPluginFuncVeldra::WindowGetFocusedID()", NoArguments,
       [&](ZrCmdPackUnpack& r) { id = ZrHostReply::WindowId(r, -1); });
  return id;
}

bool ZrPluginFuncVeldra::GetIsModeImage(int32_t id) {
  bool is = false;
  Call(21, "bool ZrPluginFuncVeldra::GetIsModeImage(int32_t)", WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { is = ZrHostReply::IsModeImage(r); });
  return is;
}

bool ZrPluginFuncVeldra::GetIsModeSeries(int32_t id) {
  bool is = false;
  Call(48, "bool ZrPluginFuncVeldra::GetIsModeSeries(int32_t)", WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { is = ZrHostReply::IsModeSeries(r); });
  return is;
}

int32_t ZrPluginFuncVeldra::ImageNewWindow() {
  std::cout << "ImageNewWindow()\n" << std::flush;
  int32_t id = -1;
  Call(7, "int32_t ZrPluginFuncVeldra::ImageNewWindow()", NoArguments,
       [&](ZrCmdPackUnpack& r) { id = ZrHostReply::WindowId(r, -1); });
  return id;
}

void ZrPluginFuncVeldra::ImageGet(int32_t id, ZrFloatMatrix& image, bool clearNaN) {
  static const char kSignature[] =
      "void ZrPluginFuncVeldra::ImageGet(int32_t, ZrFloatMatrix&, bool)";
  if (useSharedMemory_) {
    Shielded(kSignature, [&] { ImageGetBySharedMemory(id, image); });
  } else {
    Call(8, kSignature, WindowArgument(id),
         [&](ZrCmdPackUnpack& r) { ZrHostReply::ImageMatrix(r, image); });
  }
  if (clearNaN) ZrMatrixOperator::ClearNaN(image);
}

void ZrPluginFuncVeldra::ImageGetBySharedMemory(int32_t id, ZrFloatMatrix& image) {
  std::string key;
  Call(77, "void ZrPluginFuncVeldra::ImageGetBySharedMemory(int32_t, ZrFloatMatrix&)",
       WindowArgument(id), [&](ZrCmdPackUnpack& r) {
         key = ZrHostReply::SharedMemoryKey(r);
         QSharedMemory block;
         block.setKey(QString::fromUtf8(key.c_str()));
         if (!block.attach(QSharedMemory::ReadOnly)) {
           throw ZrError("Cannot attach to Shared Memory" + key);
         }
         if (block.size() <= 15) {
           block.detach();
           throw ZrError("NO DATA");
         }
         block.lock();
         try {
           ZrSharedImageBlock::Decode(block.constData(), block.size(), image);
         } catch (...) {
           block.unlock();
           block.detach();
           throw;
         }
         block.unlock();
         block.detach();
       });
}

void ZrPluginFuncVeldra::ImageSet(int32_t id, const ZrFloatMatrix& image) {
  static const char kSignature[] =
      "void ZrPluginFuncVeldra::ImageSet(int32_t, const ZrFloatMatrix&)";
  if (image.ColSize == 0 || image.RowSize == 0) throw ZrError("Image size is Zero");
  if (!useSharedMemory_) {
    Call(
        9, kSignature,
        [&](ZrCmdPackUnpack& request) {
          request.IDDocChildWindow(id);
          ZrFloatMatrix copy(image);
          request.Packer().Matrix("image", copy, "b");
        },
        [](ZrCmdPackUnpack& r) { ZrHostReply::Open(r); });
    return;
  }
  // The key carries the milliseconds the link's counter shows now; they are bumped when two
  // sets fall in the same millisecond, so keys differ from one image set to the next. The
  // counter is the monotonic clock's (its start reference plus the time since), not the time
  // since this link was made: links of programs started together would otherwise walk the
  // same key names, and one program dropping its block can remove the key file another is
  // creating a block under.
  int64_t ms = keyTimer_.msecsSinceReference() + keyTimer_.elapsed();
  if (ms <= lastKeyMs_) ms = lastKeyMs_ + 1;
  lastKeyMs_ = ms;
  std::string key = "IMAGESET" + std::to_string(ms);
  Call(
      78, kSignature,
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        if (!writeBlock_) writeBlock_ = std::make_unique<QSharedMemory>();
        if (writeBlock_->isAttached()) writeBlock_->detach();
        const int64_t size = ZrSharedImageBlock::BlockBytes(image.ColSize, image.RowSize);
        if (size > INT_MAX) throw ZrError("Shared Memory cannot create");
        // Another client process may hold a block whose key shows the same count: then the next
        // number is taken, and the key keeps its form.
        bool created = false;
        for (int attempt = 0; attempt < kImageSetKeyAttempts; ++attempt) {
          writeBlock_->setKey(QString::fromStdString(key));
          if (writeBlock_->lock()) writeBlock_->unlock();
          created = writeBlock_->create(static_cast<int>(size), QSharedMemory::ReadWrite);
          if (created || writeBlock_->error() != QSharedMemory::AlreadyExists) break;
          lastKeyMs_ = ++ms;
          key = "IMAGESET" + std::to_string(ms);
        }
        if (!created) throw ZrError("Shared Memory cannot create");
        request.Packer().Value("key", key);
        lastImageSetKey_ = key;
        writeBlock_->lock();
        ZrSharedImageBlock::Encode(image, writeBlock_->data(), writeBlock_->size());
        writeBlock_->unlock();
      },
      [](ZrCmdPackUnpack& r) { ZrHostReply::Open(r); });
}

void ZrPluginFuncVeldra::ImageKeyDoubleGet(int32_t id, std::map<std::string, double>& keys) {
  Call(61, "void ZrPluginFuncVeldra::ImageKeyDoubleGet(int32_t, std::map<std::string, double>&)",
       WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { ZrHostReply::KeyDoubles(r, "ImageKeyDouble", keys); });
}

void ZrPluginFuncVeldra::ImageKeyDoubleSet(int32_t id, const std::map<std::string, double>& keys) {
  Call(
      62,
      "void ZrPluginFuncVeldra::ImageKeyDoubleSet(int32_t, const std::map<std::string, double>&)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        std::map<std::string, double> copy(keys);
        request.Packer().KeyDoubleList("ImageKeyDouble", copy);
      },
      NotRead);
}

void ZrPluginFuncVeldra::ImageKeyStringGet(int32_t id, std::map<std::string, std::string>& keys) {
  Call(63,
       "void ZrPluginFuncVeldra::ImageKeyStringGet(int32_t, std::map<std::string, std::string>&)",
       WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { ZrHostReply::KeyStrings(r, "ImageKeyString", keys); });
}

void ZrPluginFuncVeldra::ImageKeyStringSet(int32_t id,
                                           const std::map<std::string, std::string>& keys) {
  Call(
      64,
      "void ZrPluginFuncVeldra::ImageKeyStringSet(int32_t, const std::map<std::string, "
      "std::string>&)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        std::map<std::string, std::string> copy(keys);
        request.Packer().KeyStringList("ImageKeyString", copy);
      },
      NotRead);
}

int32_t ZrPluginFuncVeldra::RegionAdd(int32_t id, const ZrRegion& region) {
  int32_t regionId = -1;
  Call(
      27, "int32_t ZrPluginFuncVeldra::RegionAdd(int32_t, const ZrRegion&)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        ZrRegion copy(region);
        request.Region(copy);
      },
      [&](ZrCmdPackUnpack& r) { regionId = ZrHostReply::RegionId(r, regionId); });
  return regionId;
}

void ZrPluginFuncVeldra::RegionClear(int32_t id) {
  Call(28, "void ZrPluginFuncVeldra::RegionClear(int32_t)", WindowArgument(id), NotRead);
}

// The encoding flag chooses the form used when this message writes the list; on reading
// the form is recognised, so it has no effect on the answer.
void ZrPluginFuncVeldra::RegionGetIDList(int32_t id, ZrLongMatrix& ids, bool bb) {
  Call(32, "void ZrPluginFuncVeldra::RegionGetIDList(int32_t, ZrLongMatrix&, bool)",
       WindowArgument(id), [&](ZrCmdPackUnpack& r) {
         ZrHostReply::Open(r);
         r.IDList(ids, bb);
       });
}

void ZrPluginFuncVeldra::RegionGet(int32_t id, int32_t regionId, ZrRegion& region) {
  Call(
      33, "void ZrPluginFuncVeldra::RegionGet(int32_t, int32_t, ZrRegion&)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        request.Packer().Value("RegionID", regionId);
      },
      [&](ZrCmdPackUnpack& r) { ZrHostReply::RegionRecord(r, region); });
}

void ZrPluginFuncVeldra::RegionGetIMinMaxAverage(int32_t id, int32_t regionId, float& min,
                                                 float& max, float& average) {
  Call(
      43,
      "void ZrPluginFuncVeldra::RegionGetIMinMaxAverage(int32_t, int32_t, float&, float&, "
      "float&)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        request.Packer().Value("RegionID", regionId);
      },
      [&](ZrCmdPackUnpack& r) { ZrHostReply::MinMaxAverage(r, min, max, average); });
}

int32_t ZrPluginFuncVeldra::LineAdd(int32_t id, float x0, float y0, float x1, float y1, float width,
                                    const ZrColor& color, bool isMovable, const std::string& name) {
  int32_t lineId = -1;
  Call(
      44,
      "int32_t ZrPluginFuncVeldra::LineAdd(int32_t, float, float, float, float, float, const "
      "ZrColor&, bool, const std::string&)",
      [&](ZrCmdPackUnpack& request) {
        ZrPackUnpack::ZrPackUnpackCustom& p = request.Packer();
        request.IDDocChildWindow(id);
        p.Value("x0", x0);
        p.Value("y0", y0);
        p.Value("x1", x1);
        p.Value("y1", y1);
        p.Value("width", width);
        ZrColor c(color);
        request.Color("color", c);
        p.Value("isMovable", isMovable);
        std::string n(name);
        p.Value("name", n);
      },
      [&](ZrCmdPackUnpack& r) { lineId = ZrHostReply::RegionId(r, lineId); });
  return lineId;
}

void ZrPluginFuncVeldra::LineGetIDList(int32_t id, ZrLongMatrix& ids) {
  Call(45, "void ZrPluginFuncVeldra::LineGetIDList(int32_t, ZrLongMatrix&)", WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { ZrHostReply::IdList(r, ids); });
}

int32_t ZrPluginFuncVeldra::SeriesNewWindow(const std::string& fileNameUtf8,
                                            const std::string& mode) {
  static const char kSignature[] =
      "int32_t ZrPluginFuncVeldra::SeriesNewWindow(const std::string&, const std::string&)";
  bool known = false;
  for (const char* m : kWindowModes) known = known || mode == m;
  if (!known) throw ZrError("Error:Please set right windowMode");
  int32_t id = -1;
  Call(
      49, kSignature,
      [&](ZrCmdPackUnpack& request) {
        std::string file(fileNameUtf8), windowMode(mode);
        request.Packer().Value("filenameUtf8", file);
        request.Packer().Value("mode", windowMode);
      },
      [&](ZrCmdPackUnpack& r) { id = ZrHostReply::WindowId(r, -1); });
  return id;
}

int32_t ZrPluginFuncVeldra::SeriesGetCount(int32_t id) {
  int32_t count = 0;
  Call(51, "int32_t ZrPluginFuncVeldra::SeriesGetCount(int32_t)", WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { count = ZrHostReply::Count(r); });
  return count;
}

void ZrPluginFuncVeldra::SeriesImageIndexSetWithLoadImage(int32_t id, int32_t index) {
  Call(
      55, "void ZrPluginFuncVeldra::SeriesImageIndexSetWithLoadImage(int32_t, int32_t)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        request.Index(index);
      },
      [](ZrCmdPackUnpack& r) { ZrHostReply::Open(r); });
}

void ZrPluginFuncVeldra::SeriesImageIndexSet(int32_t id, int32_t index) {
  Call(
      56, "void ZrPluginFuncVeldra::SeriesImageIndexSet(int32_t, int32_t)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        request.Index(index);
      },
      [](ZrCmdPackUnpack& r) { ZrHostReply::Open(r); });
}

void ZrPluginFuncVeldra::SeriesImageSave(int32_t id, const std::string& fileNameUtf8) {
  Call(
      58, "void ZrPluginFuncVeldra::SeriesImageSave(int32_t, const std::string&)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        std::string file(fileNameUtf8);
        request.Packer().Value("filenameUtf8", file);
      },
      [](ZrCmdPackUnpack& r) { ZrHostReply::Open(r); });
}

std::string ZrPluginFuncVeldra::GetFileName(int32_t id) {
  std::string name;
  Call(16, "std::string ZrPluginFuncVeldra::GetFileName(int32_t)", WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { name = ZrHostReply::FileName(r); });
  return name;
}

void ZrPluginFuncVeldra::SeriesKeyDoubleGet(int32_t id, std::map<std::string, double>& keys) {
  Call(65, "void ZrPluginFuncVeldra::SeriesKeyDoubleGet(int32_t, std::map<std::string, double>&)",
       WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { ZrHostReply::KeyDoubles(r, "SeriesKeyDouble", keys); });
}

void ZrPluginFuncVeldra::SeriesKeyStringGet(int32_t id, std::map<std::string, std::string>& keys) {
  Call(67,
       "void ZrPluginFuncVeldra::SeriesKeyStringGet(int32_t, std::map<std::string, std::string>&)",
       WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { ZrHostReply::KeyStrings(r, "SeriesKeyString", keys); });
}

void ZrPluginFuncVeldra::SeriesIndexKeyDoubleGet(int32_t id, std::map<std::string, double>& keys) {
  Call(69,
       "void ZrPluginFuncVeldra::SeriesIndexKeyDoubleGet(int32_t, std::map<std::string, double>&)",
       WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { ZrHostReply::KeyDoubles(r, "SeriesIndexKeyDouble", keys); });
}

void ZrPluginFuncVeldra::SeriesIndexKeyDoubleSet(int32_t id,
                                                 const std::map<std::string, double>& keys) {
  Call(
      70,
      "void ZrPluginFuncVeldra::SeriesIndexKeyDoubleSet(int32_t, const std::map<std::string, "
      "double>&)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        std::map<std::string, double> copy(keys);
        request.Packer().KeyDoubleList("SeriesIndexKeyDouble", copy);
      },
      [](ZrCmdPackUnpack& r) { ZrHostReply::Open(r); });
}

void ZrPluginFuncVeldra::SeriesIndexKeyStringGet(int32_t id,
                                                 std::map<std::string, std::string>& keys) {
  Call(71,
       "void ZrPluginFuncVeldra::SeriesIndexKeyStringGet(int32_t, std::map<std::string, "
       "std::string>&)",
       WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { ZrHostReply::KeyStrings(r, "SeriesIndexKeyString", keys); });
}

void ZrPluginFuncVeldra::SeriesIndexKeyStringSet(int32_t id,
                                                 const std::map<std::string, std::string>& keys) {
  Call(
      72,
      "void ZrPluginFuncVeldra::SeriesIndexKeyStringSet(int32_t, const std::map<std::string, "
      "std::string>&)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        std::map<std::string, std::string> copy(keys);
        request.Packer().KeyStringList("SeriesIndexKeyString", copy);
      },
      [](ZrCmdPackUnpack& r) { ZrHostReply::Open(r); });
}

void ZrPluginFuncVeldra::SeriesSaveRenew(int32_t id, const std::string& indexFileUtf8) {
  Call(
      93, "void ZrPluginFuncVeldra::SeriesSaveRenew(int32_t, const std::string&)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        std::string file(indexFileUtf8);
        request.Packer().Value("filenameUtf8", file);
      },
      [](ZrCmdPackUnpack& r) { ZrHostReply::Open(r); });
}

void ZrPluginFuncVeldra::GetIsLoaded(bool& isLoaded, bool& isSuccess) {
  Call(104, "void ZrPluginFuncVeldra::GetIsLoaded(bool&, bool&)", NoArguments,
       [&](ZrCmdPackUnpack& r) { ZrHostReply::Loaded(r, isLoaded, isSuccess); });
}
