// Arbitrary bytes as request texts through the reference host's request handler, cut into
// requests as the server cuts them and handed to two clients in turn. Each input gets a
// fresh host with an image window and a series window, and control requests allowed with an
// output folder of its own. Every answer must end in "</air>" and a line feed, hold no zero
// byte, and read back with a non-empty "ReturnCode".
#include <unistd.h>

#include <QDir>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "hostlink/ZrAnswerEnd.h"
#include "hostlink/ZrCmdPackUnpack.h"
#include "imageio/ZrImageFile.h"
#include "refhost/ZrRefHost.h"

namespace {

// A folder for the whole run, removed at exit: "out" for dumps, "series" with two small
// images.
const std::string& Folder() {
  static const std::string* folder = [] {
    std::string name = QDir::tempPath().toStdString() + "/zr_fuzz_refhost_XXXXXX";
    if (mkdtemp(name.data()) == nullptr) std::abort();
    QDir(QString::fromStdString(name)).mkpath("out");
    QDir(QString::fromStdString(name)).mkpath("series");
    ZrFloatMatrix image(3, 2);
    image.Fill(2.0f);
    ZrImageWrite(name + "/series/a.rawf", image);
    ZrImageWrite(name + "/series/b.rawf", image);
    return new std::string(name);
  }();
  static const int removed =
      std::atexit([] { QDir(QString::fromStdString(*folder)).removeRecursively(); });
  (void)removed;
  return *folder;
}

void CheckAnswer(const std::string& text) {
  // A client takes an answer as complete by ZrAnswerComplete and reads it only up to its
  // first zero byte.
  if (!ZrAnswerComplete(text) || text.back() != '\n' || text.find('\0') != std::string::npos) {
    std::abort();
  }
  try {
    ZrCmdPackUnpack response("r");
    response.SetText(text);
    response.OpenCmd();
    std::string code;
    response.Packer().Value("ReturnCode", code);
    if (code.empty()) std::abort();
  } catch (const ZrError&) {
    std::abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  ZrRefHost host;
  host.SetRecordRequests(false);
  host.SetOutputDir(Folder() + "/out");
  host.SetControlRequests(true);
  ZrFloatMatrix image(4, 3);
  for (int64_t i = 0; i < image.Count(); ++i) image.Data[i] = static_cast<float>(i);
  host.AddImageWindow(image, "a.rawf");
  host.LoadSeriesWindow(Folder() + "/series");
  ZrRefHostFramer requests;
  requests.Append(text.data(), text.size());
  int64_t client = 0;
  for (std::string request; requests.Next(request);) {
    // These two write files wherever the client names them; the harness keeps them off disk.
    if (request.find("SeriesImageSave") != std::string::npos ||
        request.find("SeriesSaveRenew") != std::string::npos) {
      continue;
    }
    CheckAnswer(host.Handle(request, 1 + client++ % 2).Text);
  }
  return 0;
}
