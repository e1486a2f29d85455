// Helpers of the application tests: answering modal boxes, temporary working directories and
// a clean parameter set.
#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMessageBox>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <QTimer>
#include <deque>

#include "app/RfaParameterFiles.h"
#include "rfa/RfaParameters.h"
#include "tests/common/ZrTestFiles.h"

// Arguments that a replaced file dialog received.
struct DialogCall {
  QString Caption, StartPath, Filter;
  std::string Text() const { return (Caption + " | " + StartPath + " | " + Filter).toStdString(); }
};

// Answers every application-modal message box that appears while it lives: records it as
// "title: text" (boxes joined by " | ") and presses the next queued button (OK when the queue
// is empty).
class RfaModalBoxAnswerer {
 public:
  explicit RfaModalBoxAnswerer(std::deque<QMessageBox::StandardButton> answers = {})
      : answers_(std::move(answers)) {
    QObject::connect(&timer_, &QTimer::timeout, [this] { Poll(); });
    timer_.start(5);
  }

  std::string Seen() const { return seen_.join(" | ").toStdString(); }

 private:
  void Poll() {
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (box == nullptr || !box->isVisible()) return;
    seen_ << box->windowTitle() + ": " + box->text();
    QMessageBox::StandardButton answer = QMessageBox::Ok;
    if (!answers_.empty()) {
      answer = answers_.front();
      answers_.pop_front();
    }
    QAbstractButton* button = box->button(answer);
    if (button != nullptr) {
      button->click();
    } else {
      box->reject();
    }
  }

  QTimer timer_;
  std::deque<QMessageBox::StandardButton> answers_;
  QStringList seen_;
};

// Runs a test inside a fresh temporary working directory ("filepath.ini" is relative to it),
// with the settings file "settings.ini" in it, the standard dialogs replaced by nothing and the
// process-wide parameter set back at its defaults. Tests running in parallel processes thus
// never share a file.
class RfaWorkDirFixture {
 public:
  RfaWorkDirFixture() : previous_(QDir::currentPath()) {
    QDir::setCurrent(dir_.path());
    RfaSetSettingsFileOverride(dir_.filePath("settings.ini"));
    RfaSetSaveDialog(
        [](QWidget*, const QString&, const QString&, const QString&) { return QString(); });
    RfaSetOpenDialog(
        [](QWidget*, const QString&, const QString&, const QString&) { return QStringList(); });
    RfaParameters::Instance() = RfaParameters();
  }
  ~RfaWorkDirFixture() {
    RfaSetSaveDialog(nullptr);
    RfaSetOpenDialog(nullptr);
    RfaSetSettingsFileOverride(QString());
    QDir::setCurrent(previous_);
  }
  QString Path(const QString& name) const { return dir_.filePath(name); }
  std::string File(const QString& name) const { return Path(name).toStdString(); }

  // Makes the save dialog record its arguments in `call` and answer `answer`.
  static void AnswerSaveDialog(DialogCall& call, const QString& answer) {
    RfaSetSaveDialog([&call, answer](QWidget*, const QString& caption, const QString& start,
                                     const QString& filter) {
      call = {caption, start, filter};
      return answer;
    });
  }

 private:
  QTemporaryDir dir_;
  QString previous_;
};
