// The two "ERROR" boxes of the main window and the frame that every button slot runs in.
#pragma once

#include <QString>
#include <functional>

class QAbstractButton;
class QWidget;

// Application-modal box titled "ERROR" with one OK button, run to completion.
void RfaShowErrorDialog(QWidget* parent, const QString& text);
// "Undefined error:" directly followed by the text, or by "Undefined error" when it is empty.
void RfaShowUndefinedErrorDialog(QWidget* parent, const QString& text);
QString RfaUndefinedErrorText(const QString& text);

// Runs one button action: optionally disables the pressed button and lets the event loop run
// once so that the disabled state is drawn; runs the action; shows a ZrError in the error box
// and any other exception in the undefined-error box; re-enables the button in every case.
// Nothing escapes.
void RfaRunButtonFrame(QWidget* parent, QAbstractButton* buttonToDisable,
                       const std::function<void()>& action);
