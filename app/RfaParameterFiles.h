// Parameter files of the application: the automatic settings file beside the executable,
// the user's "*.rfa_bg" files, "filepath.ini" (last directory used) and the file dialogs.
#pragma once

#include <QString>
#include <QStringList>
#include <functional>
#include <string>

class QWidget;
class RfaParameters;

// The file dialogs are hooks so that tests (and scripted runs) need no real dialog.
// Save: returns the chosen path or an empty string when cancelled.
using RfaSaveDialogFn = std::function<QString(QWidget* parent, const QString& caption,
                                              const QString& startPath, const QString& filter)>;
// Open: returns the selected files (empty when cancelled).
using RfaOpenDialogFn = std::function<QStringList(QWidget* parent, const QString& caption,
                                                  const QString& directory, const QString& filter)>;
// An empty function restores the standard Qt dialog.
void RfaSetSaveDialog(RfaSaveDialogFn dialog);
void RfaSetOpenDialog(RfaOpenDialogFn dialog);

// The settings-file rule applied to a program path: the part before the extension of the
// file name (a "." after the last "/" or "\\" that is not the first character) + suffix.
QString RfaReplaceExtension(const QString& programPath, const QString& suffix);
// The automatic settings file of this program (suffix ".ini"): the program's own path with
// the suffix in place of its extension.
QString GetIniFileNameQString(const QString& suffix);
// Tests and scripted runs may point the settings file elsewhere; an empty path restores the
// rule above.
void RfaSetSettingsFileOverride(const QString& path);

// The path up to, excluding, its last "/" or "\\"; empty when it has neither.
QString RfaDirectoryOf(const QString& path);
// "filepath.ini" in the working directory: one line, no terminator.
QString RfaReadFilePathIni();
void RfaWriteFilePathIni(const QString& chosenPath);

// Save dialog that starts in (and remembers) the last directory. Returns "" when cancelled.
QString GetSaveFileName(QWidget* parent, const QString& defaultFileName, const QString& filter,
                        const QString& caption);

// Writes bytes so that a crash mid-write never leaves a truncated file: a temporary beside the
// target, then a rename. Failure: ZrError "FILE CANNOT WRITE:" + path.
void RfaWriteFileAtomically(const QString& path, const std::string& bytes);

// Parameter files with root "ini". Saving writes the whole set; loading reads what the file
// holds (a file without "ini" changes nothing). Errors of the XML layer pass out as ZrError.
void RfaSaveParameterFile(const RfaParameters& params, const QString& path);
void RfaLoadParameterFile(RfaParameters& params, const QString& path);

// The automatic settings file: rewritten after every panel change; read once at start-up,
// where any failure (a missing file included) is ignored and the current values stay.
void SaveToIni(const RfaParameters& params);
void LoadFromIni(RfaParameters& params);

// "Load Parameters" up to the widget refill: the open dialog in the remembered directory (read
// from "filepath.ini" when empty), then "filepath.ini" updated and the file read. Returns false
// when the dialog was cancelled.
bool RfaLoadParametersCommand(QWidget* parent, QString& rememberedDirectory, RfaParameters& params);
// "Save Parameters" after the panel has been read: the save dialog, then the file. Returns
// false when cancelled.
bool RfaSaveParametersCommand(QWidget* parent, const RfaParameters& params);
