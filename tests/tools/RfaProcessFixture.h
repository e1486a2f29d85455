// The fixture of the rfa-process suites: a folder of its own, screens and parameter files in
// it, and the whole program run on a command line.
#pragma once

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "formats/ZrFileBytes.h"
#include "imageio/ZrImageFile.h"
#include "tools/RfaProcess.h"

// Drops the "Provenance" group that rfa-process adds to a key record.
template <class Map>
inline void WithoutProvenance(Map& keys) {
  for (auto it = keys.begin(); it != keys.end();) {
    it = it->first.rfind("Provenance/", 0) == 0 ? keys.erase(it) : std::next(it);
  }
}

inline ZrFloatMatrix Screen(int size, int index) {
  return RfaMakeSyntheticScreen(RfaSampleOptions(index, size));
}

class RfaProcessTest : public ::testing::Test {
 protected:
  std::string Path(const std::string& name) const { return dir_.path().toStdString() + "/" + name; }
  std::vector<std::string> Files(const std::string& sub) const {
    std::vector<std::string> names;
    const QDir d(QString::fromStdString(Path(sub)));
    for (const QString& n : d.entryList(QDir::Files | QDir::Hidden, QDir::Name)) {
      names.push_back(n.toStdString());
    }
    return names;
  }
  // The files of the folder sub and their bytes, as one value.
  std::map<std::string, std::string> Contents(const std::string& sub) const {
    std::map<std::string, std::string> bytes;
    for (const std::string& name : Files(sub))
      bytes[name] = ZrReadFileBytes(Path(sub + "/" + name));
    return bytes;
  }
  // count screens of size x size named <stem>0<ext>, <stem>1<ext>, ... (folders made).
  void WriteScreens(const std::string& stem, const std::string& ext, int count, int size,
                    int firstIndex) {
    QDir().mkpath(QFileInfo(QString::fromStdString(Path(stem))).path());
    for (int i = 0; i < count; ++i) {
      ZrImageWrite(Path(stem + std::to_string(i) + ext), Screen(size, firstIndex + i));
    }
  }
  // The sample parameters of that size in "p.rfa_bg".
  void WriteParameterFile(int size) {
    RfaWriteParameterFile(Path("p.rfa_bg"), RfaSampleParameters(size));
  }
  // "@" in text stands for the test's folder.
  std::string At(const std::string& text) const {
    return QString::fromStdString(text).replace("@", dir_.path()).toStdString();
  }
  // Runs the whole program on the space-separated arguments; returns the exit status, keeps
  // what it printed.
  int Run(const std::string& line, bool progress = false) {
    std::vector<std::string> args;
    for (const QString& arg : QString::fromStdString(At(line)).split(' ', Qt::SkipEmptyParts)) {
      args.push_back(arg.toStdString());
    }
    std::ostringstream out;
    std::ostringstream err;
    const int status = RfaProcessMain(args, out, err, progress);
    out_ = out.str();
    err_ = err.str();
    return status;
  }
  QTemporaryDir dir_;
  std::string out_;
  std::string err_;
};
