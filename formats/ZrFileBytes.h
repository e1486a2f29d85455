// Whole files as bytes: reading one, and replacing one or several in one step, so that neither
// a reader nor a crash ever sees part of a new file. Every document and image file of the
// system is written through here.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

// The whole file, or ZrError "<path>: cannot open (<reason>)" ("not a regular file" for a
// folder or a device).
std::string ZrReadFileBytes(const std::string& path);

// Replaces the file at path by bytes: Qt's QSaveFile writes them to a temporary beside it and
// renames that over it once complete, so a failure or a crash leaves the earlier file (or none)
// and no temporary. A symbolic link is followed: the file it names is replaced.
// Failure: ZrError failurePrefix + path when a prefix is given (the documents' texts, e.g.
// "FILE CANNOT WRITE:"), otherwise "<path>: cannot write (<reason>)", the reason as the system
// gives it ("Is a directory" for a folder in the way).
void ZrWriteFileAtomic(const std::string& path, const std::string& bytes,
                       const std::string& failurePrefix = std::string());

// Several files replaced as one, in two steps: Add writes each to its temporary (nothing is
// replaced yet), Commit puts them in place in the order added. When a file cannot be put in
// place, the ones replaced before it get their earlier contents back (through a hard link
// taken just before each is replaced; files that did not exist are removed again), so the paths
// hold either all the new contents or what they held before. Whatever was not committed is
// dropped with the object. Failures: ZrError "<path>: cannot write (<reason>)".
class ZrStagedFiles {
 public:
  ZrStagedFiles();
  ~ZrStagedFiles();
  ZrStagedFiles(const ZrStagedFiles&) = delete;
  ZrStagedFiles& operator=(const ZrStagedFiles&) = delete;

  void Add(const std::string& path, const std::string& bytes);
  void Commit();

 private:
  struct File;
  void RollBack(size_t failed);
  std::vector<std::unique_ptr<File>> files_;
};

// Add for each (path, bytes), then Commit.
void ZrWriteFilesAtomic(const std::vector<std::pair<std::string, std::string>>& files);
