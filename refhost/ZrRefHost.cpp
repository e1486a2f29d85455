// The reference host's interface: scripting, settings, and the handling of one request, which
// finds the function's handler in ZrRefHostHandlers.
#include "refhost/ZrRefHost.h"

#include <QFile>
#include <QSharedMemory>
#include <algorithm>

#include "imageio/ZrImageFile.h"
#include "refhost/ZrRefHostHandlers.h"
#include "refhost/ZrRefHostState.h"

ZrRefHost::ZrRefHost() : state_(std::make_unique<ZrRefHostState>()) {}

ZrRefHost::~ZrRefHost() = default;

int32_t ZrRefHost::AddImageWindow(const ZrFloatMatrix& image, const std::string& fileName) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  ZrRefHostWindow w;
  w.image = image;
  w.fileName = fileName;
  return state_->NewWindow(std::move(w));
}

int32_t ZrRefHost::LoadImageWindow(const std::string& path) {
  ZrFloatMatrix image = ZrImageRead(path);
  return AddImageWindow(image, path);
}

int32_t ZrRefHost::LoadSeriesWindow(const std::string& path, const std::string& mode) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return state_->NewWindow(state_->LoadSeries(path, mode));
}

void ZrRefHost::SetFocus(int32_t id) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  if (state_->focus == id) return;
  state_->focus = id;
  state_->Changed(-1);
}

int32_t ZrRefHost::Focus() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return state_->focus;
}

std::vector<int32_t> ZrRefHost::WindowIds() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  std::vector<int32_t> ids;
  for (const auto& w : state_->windows) ids.push_back(w.first);
  return ids;
}

bool ZrRefHost::GetWindow(int32_t id, ZrRefHostWindow& copy) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  auto it = state_->windows.find(id);
  if (it == state_->windows.end()) return false;
  copy = it->second;
  return true;
}

void ZrRefHost::SetWindowImage(int32_t id, const ZrFloatMatrix& image) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->Window(id).image = image;
  state_->Changed(id);
}

void ZrRefHost::SetLoaded(bool isLoaded, bool isSuccess) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->isLoaded = isLoaded;
  state_->isSuccess = isSuccess;
}

void ZrRefHost::SetOutputDir(const std::string& folder) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->outputDir = folder;
}

void ZrRefHost::SetFaults(const ZrRefHostFaults& faults) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->faults = faults;
}

ZrRefHostFaults ZrRefHost::Faults() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return state_->faults;
}

ZrRefHostFaults ZrRefHost::FaultsFor(const std::string& function) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return state_->FaultsFor(function);
}

std::vector<std::string> ZrRefHost::Requests() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return state_->requests;
}

void ZrRefHost::ClearRequests() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->requests.clear();
}

void ZrRefHost::SetRecordRequests(bool record) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->recordRequests = record;
  if (!record) state_->requests.clear();
}

uint64_t ZrRefHost::Revision() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return state_->revision;
}

uint64_t ZrRefHost::WindowRevision(int32_t id) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  auto it = state_->windows.find(id);
  return it == state_->windows.end() ? 0 : it->second.revision;
}

void ZrRefHost::SetChangeListener(std::function<void()> listener) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->changeListener = std::move(listener);
}

void ZrRefHost::SetRequestLog(const std::string& path) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->requestLog = path;
}

void ZrRefHost::ClientGone(int64_t client) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->ReleaseImageBlock(client);
}

void ZrRefHost::SetMaxImageBlocks(size_t count) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->maxImageBlocks = std::max<size_t>(1, count);
}

std::vector<std::string> ZrRefHost::ImageBlockKeys() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  std::map<uint64_t, std::string> bySerial;
  for (const auto& b : state_->imageBlocks) {
    bySerial[b.second.serial] = b.second.memory->key().toStdString();
  }
  std::vector<std::string> keys;
  for (const auto& k : bySerial) keys.push_back(k.second);
  return keys;
}

void ZrRefHost::SetControlRequests(bool allowed) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->controlRequests = allowed;
}

void ZrRefHost::Dump(const std::string& folder) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->Dump(folder);
}

ZrRefHostAnswer ZrRefHost::Handle(const std::string& requestText, int64_t client) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  ZrRefHostState& s = *state_;
  s.ReleaseImageBlock(client);
  if (s.recordRequests) s.requests.push_back(requestText);
  if (!s.requestLog.empty()) {
    QFile log(QString::fromStdString(s.requestLog));
    if (log.open(QIODevice::WriteOnly | QIODevice::Append)) {
      log.write(requestText.data(), static_cast<qint64>(requestText.size()));
    }
  }

  ZrRefHostAnswer answer;
  std::string returnCode = "ok";
  ZrCmdPackUnpack request("r");
  ZrRefHostCall call(s, request, client);
  try {
    // The protocol is text: as a client does with an answer, the host reads a request only up
    // to a zero byte, so none can come back in an answer.
    request.SetText(requestText.substr(0, requestText.find('\0')));
    request.OpenCmd();
    request.Packer().Value("cmd", answer.function);
    request.IDDocChildWindow(call.window);
    const ZrRefHostHandler handler = ZrRefHostFindHandler(answer.function);
    if (handler == nullptr) throw ZrError("Unknown function:" + answer.function);
    handler(call);
    const std::string faultCode = s.FaultsFor(answer.function).returnCode;
    if (!faultCode.empty()) returnCode = faultCode;
  } catch (const ZrError& e) {
    returnCode = e.Message.empty() ? std::string("error") : e.Message;
    call.DropResults();
  } catch (const std::exception& e) {
    returnCode = std::string("undefined err:") + e.what();
    call.DropResults();
  }
  answer.quit = call.quit;
  // Functions that only get leave everything as it was; any other may have changed the window
  // it names (a failed one too, part-way), and windows it made are marked when made.
  const bool onlyGets = answer.function.find("Get") != std::string::npos &&
                        answer.function.find("Set") == std::string::npos;
  if (!onlyGets) s.Changed(call.window);

  // Results follow "ReturnCode", and only when the handler succeeded.
  ZrCmdPackUnpack response("w");
  response.OpenCmd();
  response.Packer().Value("ReturnCode", returnCode);
  call.WriteResults(response);
  response.CloseCmd();
  response.GetText(answer.text);
  return answer;
}
