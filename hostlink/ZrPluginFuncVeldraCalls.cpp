// The host operations of the proxy: each is one host function, sent as one request and read
// from one answer.
#include <QSharedMemory>
#include <climits>
#include <iostream>

#include "hostlink/ZrHostReplies.h"
#include "hostlink/ZrPluginFuncVeldra.h"
#include "hostlink/ZrSharedImageBlock.h"
#include "hostlink/ZrShielded.h"
#include "numerics/ZrMatrixOperator.h"

namespace {

// How many numbers an image set tries when its key is taken by another process.
constexpr int kImageSetKeyAttempts = 1000;

const char* const kWindowModes[] = {"image", "image3D", "wave"};

auto NoArguments = [](ZrCmdPackUnpack&) {};
auto NotRead = [](ZrCmdPackUnpack&) {};
auto WindowArgument(int32_t& id) {
  return [&id](ZrCmdPackUnpack& request) { request.IDDocChildWindow(id); };
}

}  // namespace

template <class Build, class Read>
void ZrPluginFuncVeldra::Call(ZrHostFunction function, const char* signature, Build build,
                              Read read) {
  ZrShielded(signature, [&] {
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

void ZrPluginFuncVeldra::UpdateAll() {
  Call(ZrHostFunction::Update, "void ZrPluginFuncVeldra::UpdateAll()", NoArguments, NotRead);
}

int32_t ZrPluginFuncVeldra::WindowGetFocusedID() {
  int32_t id = -1;
  Call(ZrHostFunction::WindowGetFocusedID, "int32_t ZrPluginFuncVeldra::WindowGetFocusedID()",
       NoArguments, [&](ZrCmdPackUnpack& r) { id = ZrHostReply::WindowId(r, -1); });
  return id;
}

bool ZrPluginFuncVeldra::GetIsModeImage(int32_t id) {
  bool is = false;
  Call(ZrHostFunction::GetIsModeImage, "bool ZrPluginFuncVeldra::GetIsModeImage(int32_t)",
       WindowArgument(id), [&](ZrCmdPackUnpack& r) { is = ZrHostReply::IsModeImage(r); });
  return is;
}

bool ZrPluginFuncVeldra::GetIsModeSeries(int32_t id) {
  bool is = false;
  Call(ZrHostFunction::GetIsModeSeries, "bool ZrPluginFuncVeldra::GetIsModeSeries(int32_t)",
       WindowArgument(id), [&](ZrCmdPackUnpack& r) { is = ZrHostReply::IsModeSeries(r); });
  return is;
}

int32_t ZrPluginFuncVeldra::ImageNewWindow() {
  std::cout << "ImageNewWindow()\n" << std::flush;
  int32_t id = -1;
  Call(ZrHostFunction::ImageNewWindow, "int32_t ZrPluginFuncVeldra::ImageNewWindow()", NoArguments,
       [&](ZrCmdPackUnpack& r) { id = ZrHostReply::WindowId(r, -1); });
  return id;
}

void ZrPluginFuncVeldra::ImageGet(int32_t id, ZrFloatMatrix& image, bool clearNaN) {
  static const char kSignature[] =
      "void ZrPluginFuncVeldra::ImageGet(int32_t, ZrFloatMatrix&, bool)";
  if (useSharedMemory_) {
    ZrShielded(kSignature, [&] { ImageGetBySharedMemory(id, image); });
  } else {
    Call(ZrHostFunction::ImageGet, kSignature, WindowArgument(id),
         [&](ZrCmdPackUnpack& r) { ZrHostReply::ImageMatrix(r, image); });
  }
  if (clearNaN) ZrMatrixOperator::ClearNaN(image);
}

void ZrPluginFuncVeldra::ImageGetBySharedMemory(int32_t id, ZrFloatMatrix& image) {
  std::string key;
  Call(ZrHostFunction::FIImageGetBySharedMemory,
       "void ZrPluginFuncVeldra::ImageGetBySharedMemory(int32_t, ZrFloatMatrix&)",
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
        ZrHostFunction::ImageSet, kSignature,
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
      ZrHostFunction::FIImageSetBySharedMemory, kSignature,
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
  Call(ZrHostFunction::ImageKeyDoubleGet,
       "void ZrPluginFuncVeldra::ImageKeyDoubleGet(int32_t, std::map<std::string, double>&)",
       WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { ZrHostReply::KeyDoubles(r, "ImageKeyDouble", keys); });
}

void ZrPluginFuncVeldra::ImageKeyDoubleSet(int32_t id, const std::map<std::string, double>& keys) {
  Call(
      ZrHostFunction::ImageKeyDoubleSet,
      "void ZrPluginFuncVeldra::ImageKeyDoubleSet(int32_t, const std::map<std::string, double>&)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        std::map<std::string, double> copy(keys);
        request.Packer().KeyDoubleList("ImageKeyDouble", copy);
      },
      NotRead);
}

void ZrPluginFuncVeldra::ImageKeyStringGet(int32_t id, std::map<std::string, std::string>& keys) {
  Call(ZrHostFunction::ImageKeyStringGet,
       "void ZrPluginFuncVeldra::ImageKeyStringGet(int32_t, std::map<std::string, std::string>&)",
       WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { ZrHostReply::KeyStrings(r, "ImageKeyString", keys); });
}

void ZrPluginFuncVeldra::ImageKeyStringSet(int32_t id,
                                           const std::map<std::string, std::string>& keys) {
  Call(
      ZrHostFunction::ImageKeyStringSet,
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
      ZrHostFunction::RegionAdd, "int32_t ZrPluginFuncVeldra::RegionAdd(int32_t, const ZrRegion&)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        ZrRegion copy(region);
        request.Region(copy);
      },
      [&](ZrCmdPackUnpack& r) { regionId = ZrHostReply::RegionId(r, regionId); });
  return regionId;
}

void ZrPluginFuncVeldra::RegionClear(int32_t id) {
  Call(ZrHostFunction::RegionClear, "void ZrPluginFuncVeldra::RegionClear(int32_t)",
       WindowArgument(id), NotRead);
}

// The encoding flag chooses the form used when this message writes the list; on reading
// the form is recognised, so it has no effect on the answer.
void ZrPluginFuncVeldra::RegionGetIDList(int32_t id, ZrLongMatrix& ids, bool bb) {
  Call(ZrHostFunction::RegionGetIDList,
       "void ZrPluginFuncVeldra::RegionGetIDList(int32_t, ZrLongMatrix&, bool)", WindowArgument(id),
       [&](ZrCmdPackUnpack& r) {
         ZrHostReply::Open(r);
         r.IDList(ids, bb);
       });
}

void ZrPluginFuncVeldra::RegionGet(int32_t id, int32_t regionId, ZrRegion& region) {
  Call(
      ZrHostFunction::RegionGet, "void ZrPluginFuncVeldra::RegionGet(int32_t, int32_t, ZrRegion&)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        request.Packer().Value("RegionID", regionId);
      },
      [&](ZrCmdPackUnpack& r) { ZrHostReply::RegionRecord(r, region); });
}

void ZrPluginFuncVeldra::RegionGetIMinMaxAverage(int32_t id, int32_t regionId, float& min,
                                                 float& max, float& average) {
  Call(
      ZrHostFunction::RegionGetIMinMaxAverage,
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
      ZrHostFunction::LineAdd,
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
  Call(ZrHostFunction::LineGetIDList,
       "void ZrPluginFuncVeldra::LineGetIDList(int32_t, ZrLongMatrix&)", WindowArgument(id),
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
      ZrHostFunction::SeriesNewWindow, kSignature,
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
  Call(ZrHostFunction::SeriesGetCount, "int32_t ZrPluginFuncVeldra::SeriesGetCount(int32_t)",
       WindowArgument(id), [&](ZrCmdPackUnpack& r) { count = ZrHostReply::Count(r); });
  return count;
}

void ZrPluginFuncVeldra::SeriesImageIndexSetWithLoadImage(int32_t id, int32_t index) {
  Call(
      ZrHostFunction::SeriesImageIndexSetWithLoadImage,
      "void ZrPluginFuncVeldra::SeriesImageIndexSetWithLoadImage(int32_t, int32_t)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        request.Index(index);
      },
      [](ZrCmdPackUnpack& r) { ZrHostReply::Open(r); });
}

void ZrPluginFuncVeldra::SeriesImageIndexSet(int32_t id, int32_t index) {
  Call(
      ZrHostFunction::SeriesImageIndexSet,
      "void ZrPluginFuncVeldra::SeriesImageIndexSet(int32_t, int32_t)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        request.Index(index);
      },
      [](ZrCmdPackUnpack& r) { ZrHostReply::Open(r); });
}

void ZrPluginFuncVeldra::SeriesImageSave(int32_t id, const std::string& fileNameUtf8) {
  Call(
      ZrHostFunction::SeriesImageSave,
      "void ZrPluginFuncVeldra::SeriesImageSave(int32_t, const std::string&)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        std::string file(fileNameUtf8);
        request.Packer().Value("filenameUtf8", file);
      },
      [](ZrCmdPackUnpack& r) { ZrHostReply::Open(r); });
}

std::string ZrPluginFuncVeldra::GetFileName(int32_t id) {
  std::string name;
  Call(ZrHostFunction::GetFileName, "std::string ZrPluginFuncVeldra::GetFileName(int32_t)",
       WindowArgument(id), [&](ZrCmdPackUnpack& r) { name = ZrHostReply::FileName(r); });
  return name;
}

void ZrPluginFuncVeldra::SeriesKeyDoubleGet(int32_t id, std::map<std::string, double>& keys) {
  Call(ZrHostFunction::SeriesKeyDoubleGet,
       "void ZrPluginFuncVeldra::SeriesKeyDoubleGet(int32_t, std::map<std::string, double>&)",
       WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { ZrHostReply::KeyDoubles(r, "SeriesKeyDouble", keys); });
}

void ZrPluginFuncVeldra::SeriesKeyStringGet(int32_t id, std::map<std::string, std::string>& keys) {
  Call(ZrHostFunction::SeriesKeyStringGet,
       "void ZrPluginFuncVeldra::SeriesKeyStringGet(int32_t, std::map<std::string, std::string>&)",
       WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { ZrHostReply::KeyStrings(r, "SeriesKeyString", keys); });
}

void ZrPluginFuncVeldra::SeriesIndexKeyDoubleGet(int32_t id, std::map<std::string, double>& keys) {
  Call(ZrHostFunction::SeriesIndexKeyDoubleGet,
       "void ZrPluginFuncVeldra::SeriesIndexKeyDoubleGet(int32_t, std::map<std::string, double>&)",
       WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { ZrHostReply::KeyDoubles(r, "SeriesIndexKeyDouble", keys); });
}

void ZrPluginFuncVeldra::SeriesIndexKeyDoubleSet(int32_t id,
                                                 const std::map<std::string, double>& keys) {
  Call(
      ZrHostFunction::SeriesIndexKeyDoubleSet,
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
  Call(ZrHostFunction::SeriesIndexKeyStringGet,
       "void ZrPluginFuncVeldra::SeriesIndexKeyStringGet(int32_t, std::map<std::string, "
       "std::string>&)",
       WindowArgument(id),
       [&](ZrCmdPackUnpack& r) { ZrHostReply::KeyStrings(r, "SeriesIndexKeyString", keys); });
}

void ZrPluginFuncVeldra::SeriesIndexKeyStringSet(int32_t id,
                                                 const std::map<std::string, std::string>& keys) {
  Call(
      ZrHostFunction::SeriesIndexKeyStringSet,
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
      ZrHostFunction::SeriesSaveRenew,
      "void ZrPluginFuncVeldra::SeriesSaveRenew(int32_t, const std::string&)",
      [&](ZrCmdPackUnpack& request) {
        request.IDDocChildWindow(id);
        std::string file(indexFileUtf8);
        request.Packer().Value("filenameUtf8", file);
      },
      [](ZrCmdPackUnpack& r) { ZrHostReply::Open(r); });
}

void ZrPluginFuncVeldra::GetIsLoaded(bool& isLoaded, bool& isSuccess) {
  Call(ZrHostFunction::GetIsLoaded, "void ZrPluginFuncVeldra::GetIsLoaded(bool&, bool&)",
       NoArguments, [&](ZrCmdPackUnpack& r) { ZrHostReply::Loaded(r, isLoaded, isSuccess); });
}
