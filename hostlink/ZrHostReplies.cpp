// Reading of the host's answers, apart from the socket.
#include "hostlink/ZrHostReplies.h"

namespace ZrHostReply {

void Open(ZrCmdPackUnpack& response) {
  response.OpenCmd();
  CheckReturnCode(response);
}

// An answer without "ReturnCode" counts as success: several host functions answer with
// their results only.
void CheckReturnCode(ZrCmdPackUnpack& response) {
  std::string code = "ok";
  response.Packer().Value("ReturnCode", code);
  if (code != "ok") throw ZrError(code);
}

int32_t WindowId(ZrCmdPackUnpack& response, int32_t def) {
  Open(response);
  int32_t id = def;
  response.IDDocChildWindow(id);
  return id;
}

bool IsModeImage(ZrCmdPackUnpack& response) {
  Open(response);
  bool is = false;
  response.Packer().Value("isModeImage", is);
  return is;
}

bool IsModeSeries(ZrCmdPackUnpack& response) {
  Open(response);
  bool is = false;
  response.Packer().Value("isModeSeries", is);
  return is;
}

std::string SharedMemoryKey(ZrCmdPackUnpack& response) {
  Open(response);
  std::string key;
  response.Packer().Value("key", key);
  return key;
}

void ImageMatrix(ZrCmdPackUnpack& response, ZrFloatMatrix& image) {
  Open(response);
  response.Packer().Matrix("image", image, "b");
}

int32_t RegionId(ZrCmdPackUnpack& response, int32_t def) {
  Open(response);
  int32_t id = def;
  response.Packer().Value("RegionID", id);
  return id;
}

void IdList(ZrCmdPackUnpack& response, ZrLongMatrix& ids) {
  Open(response);
  response.IDList(ids);
}

void RegionRecord(ZrCmdPackUnpack& response, ZrRegion& region) {
  Open(response);
  if (!response.Region(region)) {
    throw ZrError("The host's answer holds no region record (cx, cy, w, h)");
  }
}

void MinMaxAverage(ZrCmdPackUnpack& response, float& min, float& max, float& average) {
  Open(response);
  response.Packer().Value("min", min);
  response.Packer().Value("max", max);
  response.Packer().Value("average", average);
}

int32_t Count(ZrCmdPackUnpack& response) {
  Open(response);
  int32_t count = 0;
  response.Packer().Value("count", count);
  return count;
}

std::string FileName(ZrCmdPackUnpack& response) {
  Open(response);
  std::string name;
  response.Packer().Value("filenameUtf8", name);
  return name;
}

void KeyDoubles(ZrCmdPackUnpack& response, const std::string& key,
                std::map<std::string, double>& map) {
  Open(response);
  response.Packer().KeyDoubleList(key, map);
}

void KeyStrings(ZrCmdPackUnpack& response, const std::string& key,
                std::map<std::string, std::string>& map) {
  Open(response);
  response.Packer().KeyStringList(key, map);
}

void Loaded(ZrCmdPackUnpack& response, bool& isLoaded, bool& isSuccess) {
  Open(response);
  response.Packer().Value("isLoaded", isLoaded);
  response.Packer().Value("isSuccess", isSuccess);
}

}  // namespace ZrHostReply
