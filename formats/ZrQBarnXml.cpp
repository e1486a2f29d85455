// The XML tree on a file through Qt, UTF-8.
#include "formats/ZrQBarnXml.h"

#include <QFile>
#include <QTextStream>
#include <QtGlobal>

#include "formats/ZrBarnXmlRack.h"

ZrQBarnXml::ZrQBarnXml(const QString& path, const std::string& mode)
    : ZrBarnXml(mode), path_(path) {
  if (!mode_) Load();
}

ZrQBarnXml::ZrQBarnXml(const std::string& path, const std::string& mode)
    : ZrQBarnXml(QString::fromStdString(path), mode) {}

ZrQBarnXml::ZrQBarnXml(const char* path, const std::string& mode)
    : ZrQBarnXml(QString::fromUtf8(path), mode) {}

void ZrQBarnXml::Load() {
  impl_->statusText = "Loading....";
  impl_->status = 0;
  QFile file(path_);
  if (!file.open(QIODevice::ReadOnly)) throw ZrError("Cannot open:" + path_.toStdString());
  std::string text;
  text.reserve(static_cast<size_t>(file.size()) + 256);
  QTextStream in(&file);
  in.setCodec("UTF-8");
  while (!in.atEnd()) text += in.readLine().toStdString();
  TagText(std::move(text), "Analyzing...");
}

void ZrQBarnXml::Write() {
  if (!mode_ || written_) return;
  written_ = true;
  QFile file(path_);
  if (!file.open(QIODevice::WriteOnly)) throw ZrError("FILE CANNOT WRITE:" + path_.toStdString());
  std::string text;
  GetText(text);
  QTextStream out(&file);
  out.setCodec("UTF-8");
  out << QString::fromStdString(text);
  out.flush();
  if (out.status() != QTextStream::Ok) throw ZrError("FILE CANNOT WRITE:" + path_.toStdString());
}

ZrQBarnXml::~ZrQBarnXml() {
  try {
    Write();
  } catch (const ZrError& e) {
    qWarning("%s", e.Message.c_str());
  }
}

ZrQBarnFile::~ZrQBarnFile() = default;
