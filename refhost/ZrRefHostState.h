// What the reference host keeps: its windows, settings and image blocks, with the rules the
// request handlers share. ZrRefHost holds its lock around every use; nothing here locks.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "refhost/ZrRefHost.h"

class QSharedMemory;

struct ZrRefHostState {
  ZrRefHostState();
  ~ZrRefHostState();

  std::map<int32_t, ZrRefHostWindow> Windows;
  int32_t NextWindowId = 1;
  int32_t NextRegionId = 1;  // regions and lines draw their ids from one counter
  int32_t Focus = -1;
  bool IsLoaded = true;
  bool IsSuccess = true;
  std::string OutputDir = ".";
  ZrRefHostFaults Faults;
  std::vector<std::string> Requests;
  bool RecordRequests = true;
  std::string RequestLog;
  uint64_t Revision = 0;
  std::function<void()> ChangeListener;
  bool ControlRequests = false;
  // Image-get blocks by client: each lives until its client's next request (a client's calls
  // are sequential, so by then it has read the block) or until the client goes away.
  struct ImageBlock {
    std::unique_ptr<QSharedMemory> Memory;
    uint64_t Serial = 0;
  };
  std::map<int64_t, ImageBlock> ImageBlocks;
  size_t MaxImageBlocks = 16;
  int64_t BlockCounter = 0;

  // "Window is not found:<id>" / "Window is not a series:<id>" when there is none.
  ZrRefHostWindow& Window(int32_t id);
  ZrRefHostWindow& Series(int32_t id);
  // A new window gets the next id and the focus.
  int32_t NewWindow(ZrRefHostWindow w);
  // Marks a change; the window's own revision moves when there is such a window.
  void Changed(int32_t id);
  // The faults that apply to a request for this function (defaults when filtered out).
  ZrRefHostFaults FaultsFor(const std::string& function) const;

  // A path as it is when absolute, otherwise taken in the folder.
  static std::string Resolve(const std::string& path, const std::string& folder);
  // A folder named by a control request, as an absolute path inside the output folder, with
  // "..", absolute names and symbolic links of existing parts taken into account.
  std::string ConfinedFolder(const std::string& folder) const;
  // Every window: "window_<id>.rawf" (image, begins kept) and "window_<id>.xml" (keys,
  // regions, lines, series state). The folder is made when missing.
  void Dump(const std::string& folder) const;

  // Image blocks (ZrRefHostImages.cpp): keeps a new block for the client, within the bound on
  // live blocks; releases the client's block.
  void KeepImageBlock(int64_t client, std::unique_ptr<QSharedMemory> memory);
  void ReleaseImageBlock(int64_t client);

  // Series (ZrRefHostSeries.cpp): a series window from a folder of images or an index file;
  // the current entry ("Series index is out of range:<i>"); where entry i's file is.
  ZrRefHostWindow LoadSeries(const std::string& path, const std::string& mode);
  ZrSeriesEntry& CurrentEntry(ZrRefHostWindow& w);
  std::string EntryPath(const ZrRefHostWindow& w, size_t i) const;
};
