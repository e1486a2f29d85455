// The host's function table: every function the host serves, one row each, with the number
// the program's code knows it by and the name that travels under "cmd" (only the name goes on
// the wire). The enum ZrHostFunction, the lookups below, the client's calls and the reference
// host's handlers all come from these rows; no other place names a function by its number.
// The rows are the host's whole set, also those this program never sends; 36 and 110 are not
// host functions.
#pragma once

#include <cstdint>
#include <string>

// X(number, name) for every host function, in the order of their numbers. A new row is one
// line: the backslashes are not aligned.
// clang-format off
#define ZR_HOST_FUNCTION_TABLE(X) \
  X(1, Update) \
  X(2, WindowListIDGet) \
  X(3, WindowClose) \
  X(4, WindowGetFocusedID) \
  X(5, WindowGetIDbyIndex) \
  X(6, WindowSetIsLock) \
  X(7, ImageNewWindow) \
  X(8, ImageGet) \
  X(9, ImageSet) \
  X(10, ImageLoad) \
  X(11, ImageSaveAsXml) \
  X(12, ImageSaveAsBMP) \
  X(13, ImageSaveAsJPG) \
  X(14, ImageSaveAsPNG) \
  X(15, SetFileName) \
  X(16, GetFileName) \
  X(17, SetCaption) \
  X(18, GetCaption) \
  X(19, SetIsSaved) \
  X(20, GetIsSaved) \
  X(21, GetIsModeImage) \
  X(22, ImageDispGetMinMax) \
  X(23, ImageDispSetMinMax) \
  X(24, ImageDispSetErrMinMax) \
  X(25, ImageDispSetErrMin) \
  X(26, ImageDispSetErrMax) \
  X(27, RegionAdd) \
  X(28, RegionClear) \
  X(29, RegionCopyFrom) \
  X(30, RegionSearchByName) \
  X(31, RegionGetIDFocused) \
  X(32, RegionGetIDList) \
  X(33, RegionGet) \
  X(34, RegionSet) \
  X(35, RegionDrawingAdd) \
  X(37, RegionPolygonGetVertexList) \
  X(38, RegionPolygonSetVertexList) \
  X(39, RegionDrawingClear) \
  X(40, RegionDrawingAddLine) \
  X(41, RegionDrawingAddRectangle) \
  X(42, RegionDrawingAddEllipse) \
  X(43, RegionGetIMinMaxAverage) \
  X(44, LineAdd) \
  X(45, LineGetIDList) \
  X(46, LineGetProperty) \
  X(47, LineSetProperty) \
  X(48, GetIsModeSeries) \
  X(49, SeriesNewWindow) \
  X(50, SeriesSave) \
  X(51, SeriesGetCount) \
  X(52, SeriesListValueGet) \
  X(53, SeriesListValueSet) \
  X(54, SeriesListValueClear) \
  X(55, SeriesImageIndexSetWithLoadImage) \
  X(56, SeriesImageIndexSet) \
  X(57, SeriesImageIndexGet) \
  X(58, SeriesImageSave) \
  X(59, SeriesGetCurrentIndex) \
  X(60, SeriesGetFileName) \
  X(61, ImageKeyDoubleGet) \
  X(62, ImageKeyDoubleSet) \
  X(63, ImageKeyStringGet) \
  X(64, ImageKeyStringSet) \
  X(65, SeriesKeyDoubleGet) \
  X(66, SeriesKeyDoubleSet) \
  X(67, SeriesKeyStringGet) \
  X(68, SeriesKeyStringSet) \
  X(69, SeriesIndexKeyDoubleGet) \
  X(70, SeriesIndexKeyDoubleSet) \
  X(71, SeriesIndexKeyStringGet) \
  X(72, SeriesIndexKeyStringSet) \
  X(73, PluginOpenDialog) \
  X(74, PluginSetClientName) \
  X(75, ImageBitmapCopyToClipboard) \
  X(76, ImageGetSize) \
  X(77, FIImageGetBySharedMemory) \
  X(78, FIImageSetBySharedMemory) \
  X(79, FIImage3DNewWindow) \
  X(80, FIImage3DGetBySharedMemory) \
  X(81, FIImage3DSetBySharedMemory) \
  X(82, FIGetIsModeImage3D) \
  X(83, FIWaveNewWindow) \
  X(84, FIWaveSet) \
  X(85, FIWaveGet) \
  X(86, FIWaveGetColor) \
  X(87, FIWaveSetColor) \
  X(88, FIGetIsModeWave) \
  X(89, FIImageSetChannel) \
  X(90, FIImageGetCurrentChannel) \
  X(91, FIImageGetChannelCount) \
  X(92, FIImageSetChannelByIndex) \
  X(93, SeriesSaveRenew) \
  X(94, SeriesIndexKeyStringSetItem) \
  X(95, SeriesIndexKeyDoubleSetItem) \
  X(96, SeriesKeyStringSetItem) \
  X(97, SeriesKeyDoubleSetItem) \
  X(98, ImageKeyStringSetItem) \
  X(99, ImageKeyDoubleSetItem) \
  X(100, WindowListIDAndCaptionGet) \
  X(101, ModeChangeImage) \
  X(102, ModeChangeWave) \
  X(103, ModeChangeImage3D) \
  X(104, GetIsLoaded) \
  X(105, SetIsLoaded) \
  X(106, FIWaveSetWithColor) \
  X(107, ImageLoadInWindow) \
  X(108, ImageFlipVertical) \
  X(109, RegionGetListIdIMinMaxAverageColor)
// clang-format on

enum class ZrHostFunction : int32_t {
#define ZR_HOST_FUNCTION_ENUMERATOR(number, name) name = number,
  ZR_HOST_FUNCTION_TABLE(ZR_HOST_FUNCTION_ENUMERATOR)
#undef ZR_HOST_FUNCTION_ENUMERATOR
};

struct ZrHostFunctionRow {
  ZrHostFunction Function;
  int32_t Number;
  const char* Name;
};

// Every row, in the order of the numbers.
inline constexpr ZrHostFunctionRow kZrHostFunctionRows[] = {
#define ZR_HOST_FUNCTION_ROW(number, name) {ZrHostFunction::name, number, #name},
    ZR_HOST_FUNCTION_TABLE(ZR_HOST_FUNCTION_ROW)
#undef ZR_HOST_FUNCTION_ROW
};

// The row of a number or of a name; null when the host has no such function.
const ZrHostFunctionRow* ZrHostFunctionFind(int32_t number);
const ZrHostFunctionRow* ZrHostFunctionFind(const std::string& name);

// The name that travels under "cmd".
const char* ZrHostFunctionName(ZrHostFunction function);
