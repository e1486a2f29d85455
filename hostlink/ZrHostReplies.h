// Reading of the host's answers, one function per kind of answer. Each takes a response
// message whose text is already loaded (SetText), opens its command element and reads the
// results; none of them touches a socket, so tests and the fuzzer reach them directly.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "hostlink/ZrCmdPackUnpack.h"
#include "hostlink/ZrHostTypes.h"
#include "numerics/ZrMatrix.h"

namespace ZrHostReply {

// Throws the "ReturnCode" text when it is present and not "ok". Opens the command element.
void Open(ZrCmdPackUnpack& response);
// Same, for an answer whose command element is already open.
void CheckReturnCode(ZrCmdPackUnpack& response);

// Each reads the answer of the host functions named with it.
// WindowGetFocusedID, ImageNewWindow, SeriesNewWindow: "IDDocChildWindow", def when missing.
int32_t WindowId(ZrCmdPackUnpack& response, int32_t def);
bool IsModeImage(ZrCmdPackUnpack& response);             // GetIsModeImage: "isModeImage"
bool IsModeSeries(ZrCmdPackUnpack& response);            // GetIsModeSeries: "isModeSeries"
std::string SharedMemoryKey(ZrCmdPackUnpack& response);  // FIImageGetBySharedMemory: "key"
void ImageMatrix(ZrCmdPackUnpack& response, ZrFloatMatrix& image);  // ImageGet: "image"
int32_t RegionId(ZrCmdPackUnpack& response, int32_t def);   // RegionAdd, LineAdd: "RegionID"
void IdList(ZrCmdPackUnpack& response, ZrLongMatrix& ids);  // RegionGetIDList, LineGetIDList
// RegionGet: "region", or its fields flat in the command element; without cx, cy, w and h:
// "The host's answer holds no region record (cx, cy, w, h)".
void RegionRecord(ZrCmdPackUnpack& response, ZrRegion& region);
// RegionGetIMinMaxAverage: "min", "max", "average".
void MinMaxAverage(ZrCmdPackUnpack& response, float& min, float& max, float& average);
int32_t Count(ZrCmdPackUnpack& response);         // SeriesGetCount: "count"
std::string FileName(ZrCmdPackUnpack& response);  // GetFileName: "filenameUtf8"
// The key lists of ImageKeyDoubleGet, SeriesKeyDoubleGet, SeriesIndexKeyDoubleGet and of the
// three string Gets, under the given key.
void KeyDoubles(ZrCmdPackUnpack& response, const std::string& key,
                std::map<std::string, double>& map);
void KeyStrings(ZrCmdPackUnpack& response, const std::string& key,
                std::map<std::string, std::string>& map);
void Loaded(ZrCmdPackUnpack& response, bool& isLoaded, bool& isSuccess);  // GetIsLoaded

}  // namespace ZrHostReply
