// The table of request handlers, the control requests, and the results of a call.
#include "refhost/ZrRefHostHandlers.h"

namespace {

// The control requests are the reference host's own, outside the host's function table, and
// refused unless allowed.
void CheckControlAllowed(ZrRefHostCall& call, const char* name) {
  if (!call.Host.ControlRequests) {
    throw ZrError(std::string("Control requests are not allowed:") + name);
  }
}

void RefHostDump(ZrRefHostCall& call) {
  CheckControlAllowed(call, "RefHostDump");
  std::string folder;
  call.Request.Packer().Value("folder", folder);
  call.Host.Dump(call.Host.ConfinedFolder(folder));
}

void RefHostQuit(ZrRefHostCall& call) {
  CheckControlAllowed(call, "RefHostQuit");
  call.Quit = true;
}

}  // namespace

void ZrRefHostCall::ResultIds(const std::vector<int32_t>& ids) {
  results_.push_back([ids](ZrCmdPackUnpack& answer) {
    ZrLongMatrix m(1, static_cast<int32_t>(ids.size()));
    for (size_t i = 0; i < ids.size(); ++i) m.Data[i] = ids[i];
    answer.IDList(m);
  });
}

void ZrRefHostCall::ResultRegion(const ZrRegion& region) {
  results_.push_back([region](ZrCmdPackUnpack& answer) {
    ZrRegion copy(region);
    answer.Region(copy);
  });
}

void ZrRefHostCall::WriteResults(ZrCmdPackUnpack& answer) {
  for (const auto& write : results_) write(answer);
}

ZrRefHostHandler ZrRefHostFindHandler(const std::string& function) {
  static const std::map<std::string, ZrRefHostHandler> handlers = [] {
    std::map<std::string, ZrRefHostHandler> all = {{"RefHostDump", RefHostDump},
                                                   {"RefHostQuit", RefHostQuit}};
    for (const auto& family :
         {ZrRefHostWindowHandlers(), ZrRefHostImageHandlers(), ZrRefHostRegionHandlers(),
          ZrRefHostSeriesHandlers(), ZrRefHostKeyHandlers()}) {
      for (const ZrRefHostHandlerRow& row : family) {
        all[ZrHostFunctionName(row.Function)] = row.Handler;
      }
    }
    return all;
  }();
  const auto it = handlers.find(function);
  return it == handlers.end() ? nullptr : it->second;
}
