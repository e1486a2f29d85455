// Handlers of the image functions, in the message and through shared-memory blocks, and the
// keeping of the blocks made for image gets.
#include <QCoreApplication>
#include <QDebug>
#include <QSharedMemory>
#include <algorithm>
#include <cstring>
#include <limits>

#include "hostlink/ZrSharedImageBlock.h"
#include "refhost/ZrRefHostHandlers.h"

namespace {

void ImageGet(ZrRefHostCall& call) {
  call.Result("image", call.Window().Image);
}

void ImageSet(ZrRefHostCall& call) {
  ZrFloatMatrix image;
  call.Request.Packer().Matrix("image", image, "b");
  call.Window().Image = image;
}

// A new block under a key never used before, kept for the client until its next request.
void FIImageGetBySharedMemory(ZrRefHostCall& call) {
  ZrRefHostState& s = call.Host;
  const ZrFloatMatrix& image = call.Window().Image;
  const bool shortBlock = s.FaultsFor("FIImageGetBySharedMemory").ShortBlock;
  int64_t size = ZrSharedImageBlock::BlockBytes(image.ColSize, image.RowSize);
  if (shortBlock) size = std::max<int64_t>(16, size - 4);
  if (size > std::numeric_limits<int>::max()) throw ZrError("Shared Memory cannot create");
  // A fresh key for every answer; a key still held by another process is skipped.
  std::unique_ptr<QSharedMemory> block;
  std::string key;
  for (int attempt = 0;; ++attempt) {
    key = "REFHOSTIMAGE" + std::to_string(QCoreApplication::applicationPid()) + "_" +
          std::to_string(++s.BlockCounter);
    block = std::make_unique<QSharedMemory>(QString::fromStdString(key));
    if (block->create(static_cast<int>(size))) break;
    if (block->error() != QSharedMemory::AlreadyExists || attempt == 100) {
      throw ZrError("Shared Memory cannot create");
    }
  }
  block->lock();
  char* data = static_cast<char*>(block->data());
  if (shortBlock && image.Count() == 0) {
    const int32_t header[4] = {1, 1, image.ColBegin, image.RowBegin};
    std::memcpy(data, header, sizeof(header));
  } else {
    const int32_t header[4] = {image.ColSize, image.RowSize, image.ColBegin, image.RowBegin};
    std::memcpy(data, header, sizeof(header));
    const int64_t bytes = std::min<int64_t>(size - 16, 4 * image.Count());
    if (bytes > 0) std::memcpy(data + 16, image.Data, static_cast<size_t>(bytes));
  }
  block->unlock();
  s.KeepImageBlock(call.Client, std::move(block));
  call.Result("key", key);
}

void FIImageSetBySharedMemory(ZrRefHostCall& call) {
  ZrRefHostWindow& w = call.Window();
  std::string key;
  call.Request.Packer().Value("key", key);
  QSharedMemory block(QString::fromUtf8(key.c_str()));
  if (!block.attach(QSharedMemory::ReadOnly)) {
    throw ZrError("Cannot attach to Shared Memory" + key);
  }
  block.lock();
  try {
    // Decode checks the block before it touches the window's image.
    ZrSharedImageBlock::Decode(block.constData(), block.size(), w.Image);
  } catch (...) {
    block.unlock();
    throw;
  }
  block.unlock();
  block.detach();
}

}  // namespace

std::vector<ZrRefHostHandlerRow> ZrRefHostImageHandlers() {
  return {{ZrHostFunction::ImageGet, ImageGet},
          {ZrHostFunction::ImageSet, ImageSet},
          {ZrHostFunction::FIImageGetBySharedMemory, FIImageGetBySharedMemory},
          {ZrHostFunction::FIImageSetBySharedMemory, FIImageSetBySharedMemory}};
}

void ZrRefHostState::ReleaseImageBlock(int64_t client) {
  ImageBlocks.erase(client);
}

void ZrRefHostState::KeepImageBlock(int64_t client, std::unique_ptr<QSharedMemory> memory) {
  ReleaseImageBlock(client);
  while (!ImageBlocks.empty() && ImageBlocks.size() >= MaxImageBlocks) {
    auto oldest = std::min_element(
        ImageBlocks.begin(), ImageBlocks.end(),
        [](const auto& a, const auto& b) { return a.second.Serial < b.second.Serial; });
    qWarning().noquote() << QString(
                                "veldra-refhost: image block %1 of client %2 released "
                                "early: %3 blocks are alive")
                                .arg(oldest->second.Memory->key())
                                .arg(oldest->first)
                                .arg(ImageBlocks.size());
    ImageBlocks.erase(oldest);
  }
  ImageBlock& block = ImageBlocks[client];
  block.Memory = std::move(memory);
  block.Serial = static_cast<uint64_t>(BlockCounter);
}
