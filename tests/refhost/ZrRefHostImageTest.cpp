// Images between the host link and the reference host, through shared memory and through
// the message, over real loopback TCP.
#include <gtest/gtest.h>

#include <QSharedMemory>
#include <QStringList>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <set>
#include <vector>

#include "hostlink/ZrHostReplies.h"
#include "tests/common/ZrTestImages.h"
#include "tests/common/ZrTestUtil.h"
#include "tests/refhost/ZrRefHostFixture.h"

namespace {

struct Shape {
  int32_t Cols, Rows, ColBegin, RowBegin;
  bool SharedMemory;
};

void PrintTo(const Shape& s, std::ostream* os) {
  *os << s.Cols << "x" << s.Rows << "@(" << s.ColBegin << "," << s.RowBegin << ")"
      << (s.SharedMemory ? " shm" : " msg");
}

// Pixels chosen by bit pattern, so that any conversion or reordering shows.
ZrFloatMatrix Pattern(const Shape& s, uint32_t seed) {
  ZrFloatMatrix m(s.Cols, s.Rows);
  m.SetBegin(s.ColBegin, s.RowBegin);
  uint32_t x = seed;
  for (int64_t i = 0; i < m.Count(); ++i) {
    x = x * 1664525u + 1013904223u;
    uint32_t bits = x;
    if ((bits & 0x7f800000u) == 0x7f800000u) bits &= 0xbfffffffu;  // no NaN: bits would vary
    std::memcpy(&m.Data[i], &bits, 4);
  }
  return m;
}

class ZrRefHostImageShapes : public ZrRefHostFixture,
                             public ::testing::WithParamInterface<Shape> {};

}  // namespace

TEST_P(ZrRefHostImageShapes, SetThenGetIsBitExactBothWays) {
  const Shape& s = GetParam();
  client_->SetUseSharedMemory(s.SharedMemory);
  const int32_t id = client_->ImageNewWindow();
  const ZrFloatMatrix sent = Pattern(s, 7);
  client_->ImageSet(id, sent);
  ZrRefHostWindow window;
  ASSERT_TRUE(host_.GetWindow(id, window));
  EXPECT_TRUE(ZrSameBits(window.Image, sent));

  const ZrFloatMatrix hostImage = Pattern(s, 99);
  host_.SetWindowImage(id, hostImage);
  ZrFloatMatrix got;
  client_->ImageGet(id, got, false);
  EXPECT_TRUE(ZrSameBits(got, hostImage));
  const std::string function = s.SharedMemory ? "FIImageGetBySharedMemory" : "ImageGet";
  EXPECT_NE(host_.Requests().back().find("<cmd>" + function + "</cmd>"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, ZrRefHostImageShapes,
    ::testing::Values(Shape{1, 1, 0, 0, true}, Shape{3, 2, -1, 5, true}, Shape{1, 7, 0, 0, true},
                      Shape{7, 1, 10, -10, true}, Shape{257, 129, 3, 4, true},
                      Shape{1, 1, 0, 0, false}, Shape{3, 2, -1, 5, false},
                      // about 176 kB of text: the answer arrives over several reads
                      Shape{257, 171, -3, 0, false}));

using ZrRefHostImage = ZrRefHostFixture;

TEST_F(ZrRefHostImage, ClearNaNZeroesNaNAndKeepsInfinities) {
  const float inf = std::numeric_limits<float>::infinity();
  ZrFloatMatrix image(4, 1);
  const float values[] = {std::numeric_limits<float>::quiet_NaN(), inf, -inf, -2.5f};
  std::copy(std::begin(values), std::end(values), image.Data);
  const int32_t id = host_.AddImageWindow(image);
  for (const bool shm : {true, false}) {
    client_->SetUseSharedMemory(shm);
    ZrFloatMatrix cleared, kept;
    client_->ImageGet(id, cleared, true);
    client_->ImageGet(id, kept, false);
    EXPECT_EQ(ZrPixels(cleared), std::vector<float>({0.0f, inf, -inf, -2.5f}));
    EXPECT_FALSE(std::signbit(cleared.Data[0]));
    EXPECT_TRUE(std::isnan(kept.Data[0]));
  }
}

// Each image set makes a block under a new key and releases the previous one. Another client
// process may already hold the block of the key this client would make next: the set must
// then take the next free number rather than fail (a fixed fault).
TEST_F(ZrRefHostImage, ImageSetsUseNewKeysAndSkipKeysHeldByOtherProcesses) {
  const int32_t id = client_->ImageNewWindow();
  ZrFloatMatrix image = Pattern({3, 2, 0, 0, true}, 5);
  client_->ImageSet(id, image);
  const std::string first = client_->LastImageSetKey();
  EXPECT_NE(host_.Requests().back().find("<key>" + first + "</key>"), std::string::npos);
  client_->ImageSet(id, image);
  const std::string second = client_->LastImageSetKey();
  EXPECT_EQ(first.rfind("IMAGESET", 0), 0u);
  EXPECT_NE(first, second);
  QSharedMemory released(QString::fromStdString(first));
  EXPECT_FALSE(released.attach(QSharedMemory::ReadOnly));
  QSharedMemory alive(QString::fromStdString(second));
  EXPECT_TRUE(alive.attach(QSharedMemory::ReadOnly));  // kept until the next image set

  // Hold the next 300 keys. Tests of other builds running at the same time may hold some of
  // them already, which serves the same purpose: the client must pass over every key it
  // cannot create.
  const int64_t last = std::stoll(second.substr(8));
  std::vector<std::unique_ptr<QSharedMemory>> taken;
  std::set<std::string> ours;
  for (int64_t n = last + 1; n <= last + 300; ++n) {
    const QString name = QString("IMAGESET%1").arg(n);
    auto block = std::make_unique<QSharedMemory>(name);
    if (!block->create(16)) {
      ASSERT_EQ(block->error(), QSharedMemory::AlreadyExists) << block->errorString().toStdString();
      continue;
    }
    ours.insert(name.toStdString());
    taken.push_back(std::move(block));
  }
  ASSERT_GT(ours.size(), 200u);
  image = Pattern({3, 2, 0, 0, true}, 6);
  client_->ImageSet(id, image);
  const std::string key = client_->LastImageSetKey();
  EXPECT_GT(std::stoll(key.substr(8)), last) << key;
  EXPECT_EQ(ours.count(key), 0u) << key;
  EXPECT_NE(host_.Requests().back().find("<key>" + key + "</key>"), std::string::npos);
  ZrFloatMatrix back;
  client_->ImageGet(id, back, false);
  EXPECT_TRUE(ZrSameBits(back, image));
}

TEST_F(ZrRefHostImage, EmptyImagesAndMissingWindows) {
  const int32_t id = client_->ImageNewWindow();
  const size_t before = host_.Requests().size();
  for (const bool shm : {true, false}) {
    client_->SetUseSharedMemory(shm);
    EXPECT_ZR_ERROR(client_->ImageSet(id, ZrFloatMatrix(0, 5)), "Image size is Zero");
    EXPECT_ZR_ERROR(client_->ImageSet(id, ZrFloatMatrix(5, 0)), "Image size is Zero");
  }
  EXPECT_EQ(host_.Requests().size(), before);  // nothing sent
  ZrFloatMatrix image(3, 3);
  client_->ImageGetBySharedMemory(id, image);  // the new window has no image yet
  EXPECT_EQ(image.ColSize, 0);
  EXPECT_ZR_ERROR(client_->ImageGet(999, image, true), "Window is not found:999");
  EXPECT_ZR_ERROR(client_->ImageSet(998, ZrFloatMatrix(1, 1)), "Window is not found:998");
}

TEST_F(ZrRefHostImage, ShortBlockIsRefusedWithBothSizes) {
  ZrFloatMatrix image(4, 3);
  image.Fill(1.0f);
  const int32_t id = host_.AddImageWindow(image);
  ZrRefHostFaults faults;
  faults.ShortBlock = true;
  host_.SetFaults(faults);
  ZrFloatMatrix got;
  EXPECT_ZR_ERROR(client_->ImageGet(id, got, true),
                  "Shared memory block is too small: its header claims 4 x 3 pixels (64 bytes) "
                  "but the block holds 60 bytes");
  host_.SetFaults(ZrRefHostFaults());
  client_->ImageGet(id, got, true);  // the connection survives
  EXPECT_EQ(got.Count(), 12);
}

// The rules of the image-get blocks, straight on the request handler: every get answers a
// fresh key, a block stays until its client's next request or departure, and past the bound
// the block handed out longest ago is released with a log line.
TEST(ZrRefHostImageBlocks, OwnKeyPerGetKeptUntilTheClientsNextRequestWithinTheBound) {
  ZrRefHost host;
  const int32_t id = host.AddImageWindow(ZrFloatMatrix(2, 2));
  host.SetMaxImageBlocks(2);
  const std::string get = "<air><i0><cmd>FIImageGetBySharedMemory</cmd>\n<IDDocChildWindow>" +
                          std::to_string(id) + "</IDDocChildWindow>\n</i0>\n</air>\n";
  auto key = [&](int64_t client) {
    ZrCmdPackUnpack response("r");
    response.SetText(host.Handle(get, client).Text);
    return ZrHostReply::SharedMemoryKey(response);
  };
  auto alive = [](const std::string& k) {
    QSharedMemory block(QString::fromStdString(k));
    return block.attach(QSharedMemory::ReadOnly);
  };
  using Keys = std::vector<std::string>;
  static QStringList* log = nullptr;
  QStringList lines;
  log = &lines;
  const QtMessageHandler previous = qInstallMessageHandler(
      [](QtMsgType, const QMessageLogContext&, const QString& text) { log->append(text); });

  const std::string a = key(1), b = key(2);
  EXPECT_NE(a, b);
  EXPECT_EQ(host.ImageBlockKeys(), Keys({a, b}));
  host.Handle("<air><i0><cmd>WindowGetFocusedID</cmd>\n</i0>\n</air>\n", 1);
  EXPECT_EQ(host.ImageBlockKeys(), Keys({b}));
  EXPECT_FALSE(alive(a));
  EXPECT_TRUE(alive(b));
  const std::string c = key(2), d = key(3), e = key(4);
  EXPECT_EQ(host.ImageBlockKeys(), Keys({d, e}));
  EXPECT_FALSE(alive(b));
  host.ClientGone(3);
  EXPECT_EQ(host.ImageBlockKeys(), Keys({e}));
  qInstallMessageHandler(previous);
  log = nullptr;
  EXPECT_EQ(lines, QStringList("veldra-refhost: image block " + QString::fromStdString(c) +
                               " of client 2 released early: 2 blocks are alive"));
}
