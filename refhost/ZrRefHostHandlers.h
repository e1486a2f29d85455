// The reference host's request handlers: one small function per host function (or per
// family of alike functions), found through one table by the function's name. A handler
// reads its arguments from the request, acts on the host's state and leaves its results in
// the call; it throws ZrError for anything the answer should report.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "hostlink/ZrCmdPackUnpack.h"
#include "hostlink/ZrHostFunctions.h"
#include "refhost/ZrRefHostState.h"

// One request as a handler sees it.
class ZrRefHostCall {
 public:
  // The request's command element is open.
  ZrRefHostCall(ZrRefHostState& state, ZrCmdPackUnpack& message, int64_t clientId)
      : Host(state), Request(message), Client(clientId) {}

  ZrRefHostState& Host;
  ZrCmdPackUnpack& Request;
  int64_t Client;
  int32_t WindowId = -1;  // "IDDocChildWindow" of the request; -1 when it has none
  bool Quit = false;      // the request asks the host to end

  // The window the request names ("Window is not found:<id>"), or the series window.
  ZrRefHostWindow& Window() { return Host.Window(WindowId); }
  ZrRefHostWindow& Series() { return Host.Series(WindowId); }

  // Results, written after "ReturnCode" in the order given once the handler has returned.
  template <class T>
  void Result(const std::string& key, T value) {
    results_.push_back(
        [key, value](ZrCmdPackUnpack& answer) mutable { Put(answer.Packer(), key, value); });
  }
  void ResultIds(const std::vector<int32_t>& ids);  // "IDList", one row per id
  void ResultRegion(const ZrRegion& region);        // "region"
  void WriteResults(ZrCmdPackUnpack& answer);
  void DropResults() { results_.clear(); }

 private:
  template <class T>
  static void Put(ZrPackUnpack::ZrPackUnpackCustom& p, const std::string& key, T& value) {
    p.Value(key, value);
  }
  static void Put(ZrPackUnpack::ZrPackUnpackCustom& p, const std::string& key,
                  std::map<std::string, double>& value) {
    p.KeyDoubleList(key, value);
  }
  static void Put(ZrPackUnpack::ZrPackUnpackCustom& p, const std::string& key,
                  std::map<std::string, std::string>& value) {
    p.KeyStringList(key, value);
  }
  static void Put(ZrPackUnpack::ZrPackUnpackCustom& p, const std::string& key,
                  ZrFloatMatrix& value) {
    p.Matrix(key, value, "b");
  }

  std::vector<std::function<void(ZrCmdPackUnpack&)>> results_;
};

using ZrRefHostHandler = void (*)(ZrRefHostCall& call);

struct ZrRefHostHandlerRow {
  ZrHostFunction Function;
  ZrRefHostHandler Handler;
};

// The handlers of each family, in the file of that family.
std::vector<ZrRefHostHandlerRow> ZrRefHostWindowHandlers();  // ZrRefHostWindows.cpp
std::vector<ZrRefHostHandlerRow> ZrRefHostImageHandlers();   // ZrRefHostImages.cpp
std::vector<ZrRefHostHandlerRow> ZrRefHostRegionHandlers();  // ZrRefHostRegions.cpp
std::vector<ZrRefHostHandlerRow> ZrRefHostSeriesHandlers();  // ZrRefHostSeries.cpp
std::vector<ZrRefHostHandlerRow> ZrRefHostKeyHandlers();     // ZrRefHostKeys.cpp

// The handler of a function name: the host functions of the families above and the control
// requests "RefHostDump" and "RefHostQuit"; null for any other name.
ZrRefHostHandler ZrRefHostFindHandler(const std::string& function);
