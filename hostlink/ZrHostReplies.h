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

// "IDDocChildWindow"; def when missing (functions 4, 7, 49).
int32_t WindowId(ZrCmdPackUnpack& response, int32_t def);
bool IsModeImage(ZrCmdPackUnpack& response);                        // 21 "isModeImage"
bool IsModeSeries(ZrCmdPackUnpack& response);                       // 48 "isModeSeries"
std::string SharedMemoryKey(ZrCmdPackUnpack& response);             // 77 "key"
void ImageMatrix(ZrCmdPackUnpack& response, ZrFloatMatrix& image);  // 8 "image"
int32_t RegionId(ZrCmdPackUnpack& response, int32_t def);           // 27, 44 "RegionID"
void IdList(ZrCmdPackUnpack& response, ZrLongMatrix& ids);          // 32, 45 "IDList"
// 33: "region", or its fields flat; without cx, cy, w and h: "The host's answer holds no region
// record (cx, cy, w, h)".
void RegionRecord(ZrCmdPackUnpack& response, ZrRegion& region);
void MinMaxAverage(ZrCmdPackUnpack& response, float& min, float& max, float& average);  // 43
int32_t Count(ZrCmdPackUnpack& response);         // 51 "count"
std::string FileName(ZrCmdPackUnpack& response);  // 16 "filenameUtf8"
void KeyDoubles(ZrCmdPackUnpack& response, const std::string& key,
                std::map<std::string, double>& map);  // 61, 65, 69
void KeyStrings(ZrCmdPackUnpack& response, const std::string& key,
                std::map<std::string, std::string>& map);                 // 63, 67, 71
void Loaded(ZrCmdPackUnpack& response, bool& isLoaded, bool& isSuccess);  // 104

}  // namespace ZrHostReply
