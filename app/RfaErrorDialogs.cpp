// The "ERROR" boxes and the button frame of the main window.
#include "app/RfaErrorDialogs.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QMessageBox>
#include <exception>

#include "numerics/ZrError.h"

void RfaShowErrorDialog(QWidget* parent, const QString& text) {
  QMessageBox box(QMessageBox::Critical, "ERROR", text, QMessageBox::Ok, parent);
  box.setWindowModality(Qt::ApplicationModal);
  box.exec();
}

QString RfaUndefinedErrorText(const QString& text) {
  return "Undefined error:" + (text.isEmpty() ? QString("Undefined error") : text);
}

void RfaShowUndefinedErrorDialog(QWidget* parent, const QString& text) {
  RfaShowErrorDialog(parent, RfaUndefinedErrorText(text));
}

void RfaRunButtonFrame(QWidget* parent, QAbstractButton* buttonToDisable,
                       const std::function<void()>& action) {
  if (buttonToDisable != nullptr) {
    buttonToDisable->setEnabled(false);
    QCoreApplication::processEvents();
  }
  try {
    action();
  } catch (const ZrError& e) {
    RfaShowErrorDialog(parent, QString::fromStdString(e.Message));
  } catch (const std::exception& e) {
    RfaShowUndefinedErrorDialog(parent, QString::fromUtf8(e.what()));
  } catch (...) {
    RfaShowUndefinedErrorDialog(parent, QString());
  }
  if (buttonToDisable != nullptr) buttonToDisable->setEnabled(true);
}
