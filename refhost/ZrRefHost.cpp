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
  w.Image = image;
  w.FileName = fileName;
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
  if (state_->Focus == id) return;
  state_->Focus = id;
  state_->Changed(-1);
}

int32_t ZrRefHost::Focus() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return state_->Focus;
}

std::vector<int32_t> ZrRefHost::WindowIds() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  std::vector<int32_t> ids;
  for (const auto& w : state_->Windows) ids.push_back(w.first);
  return ids;
}

bool ZrRefHost::GetWindow(int32_t id, ZrRefHostWindow& copy) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  auto it = state_->Windows.find(id);
  if (it == state_->Windows.end()) return false;
  copy = it->second;
  return true;
}

void ZrRefHost::SetWindowImage(int32_t id, const ZrFloatMatrix& image) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->Window(id).Image = image;
  state_->Changed(id);
}

void ZrRefHost::SetLoaded(bool isLoaded, bool isSuccess) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->IsLoaded = isLoaded;
  state_->IsSuccess = isSuccess;
}

void ZrRefHost::SetOutputDir(const std::string& folder) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->OutputDir = folder;
}

void ZrRefHost::SetFaults(const ZrRefHostFaults& faults) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->Faults = faults;
}

ZrRefHostFaults ZrRefHost::Faults() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return state_->Faults;
}

ZrRefHostFaults ZrRefHost::FaultsFor(const std::string& function) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return state_->FaultsFor(function);
}

std::vector<std::string> ZrRefHost::Requests() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return state_->Requests;
}

void ZrRefHost::ClearRequests() {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->Requests.clear();
}

void ZrRefHost::SetRecordRequests(bool record) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->RecordRequests = record;
  if (!record) state_->Requests.clear();
}

uint64_t ZrRefHost::Revision() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  return state_->Revision;
}

uint64_t ZrRefHost::WindowRevision(int32_t id) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  auto it = state_->Windows.find(id);
  return it == state_->Windows.end() ? 0 : it->second.Revision;
}

void ZrRefHost::SetChangeListener(std::function<void()> listener) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->ChangeListener = std::move(listener);
}

void ZrRefHost::SetRequestLog(const std::string& path) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->RequestLog = path;
}

void ZrRefHost::ClientGone(int64_t client) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->ReleaseImageBlock(client);
}

void ZrRefHost::SetMaxImageBlocks(size_t count) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->MaxImageBlocks = std::max<size_t>(1, count);
}

std::vector<std::string> ZrRefHost::ImageBlockKeys() const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  std::map<uint64_t, std::string> bySerial;
  for (const auto& b : state_->ImageBlocks) {
    bySerial[b.second.Serial] = b.second.Memory->key().toStdString();
  }
  std::vector<std::string> keys;
  for (const auto& k : bySerial) keys.push_back(k.second);
  return keys;
}

void ZrRefHost::SetControlRequests(bool allowed) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->ControlRequests = allowed;
}

void ZrRefHost::Dump(const std::string& folder) const {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  state_->Dump(folder);
}

ZrRefHostAnswer ZrRefHost::Handle(const std::string& requestText, int64_t client) {
  std::lock_guard<std::recursive_mutex> lock(mutex_);
  ZrRefHostState& s = *state_;
  s.ReleaseImageBlock(client);
  if (s.RecordRequests) s.Requests.push_back(requestText);
  if (!s.RequestLog.empty()) {
    QFile log(QString::fromStdString(s.RequestLog));
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
    request.Packer().Value("cmd", answer.Function);
    request.IDDocChildWindow(call.WindowId);
    const ZrRefHostHandler handler = ZrRefHostFindHandler(answer.Function);
    if (handler == nullptr) throw ZrError("Unknown function:" + answer.Function);
    handler(call);
    const std::string faultCode = s.FaultsFor(answer.Function).ReturnCode;
    if (!faultCode.empty()) returnCode = faultCode;
  } catch (const ZrError& e) {
    returnCode = e.Message.empty() ? std::string("error") : e.Message;
    call.DropResults();
  } catch (const std::exception& e) {
    returnCode = std::string("undefined err:") + e.what();
    call.DropResults();
  }
  answer.Quit = call.Quit;
  // Functions that only get leave everything as it was; any other may have changed the window
  // it names (a failed one too, part-way), and windows it made are marked when made.
  const bool onlyGets = answer.Function.find("Get") != std::string::npos &&
                        answer.Function.find("Set") == std::string::npos;
  if (!onlyGets) s.Changed(call.WindowId);

  // Results follow "ReturnCode", and only when the handler succeeded.
  ZrCmdPackUnpack response("w");
  response.OpenCmd();
  response.Packer().Value("ReturnCode", returnCode);
  call.WriteResults(response);
  response.CloseCmd();
  response.GetText(answer.Text);
  return answer;
}
