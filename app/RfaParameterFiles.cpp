// Parameter files of the application.
#include "app/RfaParameterFiles.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileDialog>
#include <QTextStream>
#include <QtDebug>
#include <utility>

#include "formats/ZrFileBytes.h"
#include "formats/ZrQBarnXml.h"
#include "numerics/ZrError.h"
#include "rfa/RfaParameters.h"

namespace {

const char kFilePathIni[] = "filepath.ini";

RfaSaveDialogFn& SaveDialogHook() {
  static RfaSaveDialogFn hook;
  return hook;
}

RfaOpenDialogFn& OpenDialogHook() {
  static RfaOpenDialogFn hook;
  return hook;
}

QString RunSaveDialog(QWidget* parent, const QString& caption, const QString& startPath,
                      const QString& filter) {
  if (SaveDialogHook()) return SaveDialogHook()(parent, caption, startPath, filter);
  return QFileDialog::getSaveFileName(parent, caption, startPath, filter);
}

QStringList RunOpenDialog(QWidget* parent, const QString& caption, const QString& directory,
                          const QString& filter) {
  if (OpenDialogHook()) return OpenDialogHook()(parent, caption, directory, filter);
  QFileDialog dialog(parent, caption, directory, filter);
  if (dialog.exec() != QDialog::Accepted) return {};
  return dialog.selectedFiles();
}

QString& SettingsFileOverride() {
  static QString path;
  return path;
}

int LastSeparator(const QString& path) {
  return std::max(path.lastIndexOf('/'), path.lastIndexOf('\\'));
}

}  // namespace

void RfaSetSettingsFileOverride(const QString& path) {
  SettingsFileOverride() = path;
}

void RfaSetSaveDialog(RfaSaveDialogFn dialog) {
  SaveDialogHook() = std::move(dialog);
}
void RfaSetOpenDialog(RfaOpenDialogFn dialog) {
  OpenDialogHook() = std::move(dialog);
}

QString RfaReplaceExtension(const QString& programPath, const QString& suffix) {
  for (int i = programPath.size() - 1; i >= 0; --i) {
    const QChar c = programPath.at(i);
    if (c == '/' || c == '\\') break;
    if (c == '.') {
      if (i == 0) break;  // a leading dot names the file, it is no extension
      return programPath.left(i) + suffix;
    }
  }
  return programPath + suffix;
}

QString GetIniFileNameQString(const QString& suffix) {
  try {
    return RfaReplaceExtension(QString::fromUtf8(QCoreApplication::applicationFilePath().toUtf8()),
                               suffix);
  } catch (...) {
    qDebug() << "Error@GetIniFileNameQString";
    throw;
  }
}

QString RfaDirectoryOf(const QString& path) {
  const int sep = LastSeparator(path);
  return sep < 0 ? QString() : path.left(sep);
}

QString RfaReadFilePathIni() {
  QFile file(kFilePathIni);
  if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) return QString();
  QTextStream stream(&file);
  stream.setCodec("UTF-8");
  return stream.readLine();
}

void RfaWriteFilePathIni(const QString& chosenPath) {
  RfaWriteFileAtomically(kFilePathIni, RfaDirectoryOf(chosenPath).toUtf8().toStdString());
}

QString GetSaveFileName(QWidget* parent, const QString& defaultFileName, const QString& filter,
                        const QString& caption) {
  const int sep = LastSeparator(defaultFileName);
  QString directory = sep < 0 ? QString() : defaultFileName.left(sep);
  const QString filePart = defaultFileName.mid(sep + 1);
  if (directory.isEmpty() || directory == ".") directory = RfaReadFilePathIni();
  if (directory.isEmpty()) directory = "default";
  const QString chosen = RunSaveDialog(parent, caption, directory + "/" + filePart, filter);
  if (!chosen.isEmpty()) RfaWriteFilePathIni(chosen);
  return chosen;
}

void RfaWriteFileAtomically(const QString& path, const std::string& bytes) {
  ZrWriteFileAtomic(path.toUtf8().toStdString(), bytes, "FILE CANNOT WRITE:");
}

void RfaSaveParameterFile(const RfaParameters& params, const QString& path) {
  // The text is exactly what the file variant of the XML tree would write.
  RfaWriteFileAtomically(path, RfaParameterFileText(params));
}

void RfaLoadParameterFile(RfaParameters& params, const QString& path) {
  ZrQBarnFile tree(path, "r");
  params.Exchange(tree, "ini");
}

namespace {
QString SettingsFile() {
  return SettingsFileOverride().isEmpty() ? GetIniFileNameQString(".ini") : SettingsFileOverride();
}
}  // namespace

void SaveToIni(const RfaParameters& params) {
  RfaSaveParameterFile(params, SettingsFile());
}

void LoadFromIni(RfaParameters& params) {
  try {
    RfaLoadParameterFile(params, SettingsFile());
  } catch (...) {
    // A missing or unreadable settings file is normal on a first start: defaults stay.
  }
}

bool RfaLoadParametersCommand(QWidget* parent, QString& rememberedDirectory,
                              RfaParameters& params) {
  if (rememberedDirectory.isEmpty()) rememberedDirectory = RfaReadFilePathIni();
  const QStringList files = RunOpenDialog(parent, "Load paramtrs", rememberedDirectory,
                                          QString("parameter (*.rfa_bg)") + ";;All Files (*.*)");
  if (files.isEmpty()) return false;
  const QString& chosen = files.first();
  RfaWriteFilePathIni(chosen);
  rememberedDirectory = RfaDirectoryOf(chosen);
  RfaLoadParameterFile(params, chosen);
  return true;
}

bool RfaSaveParametersCommand(QWidget* parent, const RfaParameters& params) {
  const QString chosen =
      GetSaveFileName(parent, "paremeter.rfa_bg", "parameter (*.rfa_bg)", "Save paramtrs");
  if (chosen.isEmpty()) return false;
  RfaSaveParameterFile(params, chosen);
  return true;
}
