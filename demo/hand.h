/// The user's hand: presses the dialog's buttons and answers its message boxes, for whatever plays the tool by
/// itself. Knows the dialog by the names of its widgets alone.
#pragma once

#include <QMessageBox>
#include <QStringList>
#include <QTimer>

#include <functional>

/// Answers the boxes that appear, one after the other. Needs the application object.
class Hand : public QTimer
{
public:
    /// Looks for a box every `interval` milliseconds; with 0, whenever there is nothing else to do.
    explicit Hand(int interval = 0);

    /// Captions of the buttons to press. A box that is left without one, or has no such button, gets Escape.
    QStringList answers;
    /// Each box so far, as described().
    QStringList seen;
    /// Called before a box is answered, and may change `answers`.
    std::function<void(QMessageBox& box)> before_answer = [](QMessageBox&) {};

    /// The message box that waits for an answer; null when there is none.
    static QMessageBox* openBox();
    /// "warning [title] text (button, button)"; "unformatted: " before a text that is shown as plain text.
    static QString described(const QMessageBox& box);
    /// Presses the button of that caption; false when the box has none.
    static bool answer(const QMessageBox& box, const QString& caption);

    /// Presses a button or check box of the dialog and stays until what follows is done. False when it is not
    /// there, disabled or hidden.
    static bool press(const QWidget& dialog, const QString& name);
    static void pressEscape(QWidget& widget);
    /// The label's text with its markup; empty when there is no such label.
    static QString label(const QWidget& dialog, const QString& name);
    /// A text as it is read: without markup, pictures and line breaks.
    static QString plain(const QString& text);

private:
    void look();
};
