/// Finds boxes, buttons and labels among the application's widgets.
#include "demo/hand.h"

#include <QAbstractButton>
#include <QApplication>
#include <QKeyEvent>
#include <QLabel>
#include <QTextDocument>
#include <QTextDocumentFragment>

namespace {

/// The button's text without its mnemonic's '&'.
QString caption(const QAbstractButton& button)
{
    return button.text().remove('&');
}

} // namespace

Hand::Hand(int interval)
{
    callOnTimeout(this, &Hand::look);
    start(interval);
}

void Hand::look()
{
    QMessageBox* box = openBox();
    if (box == nullptr)
        return;
    seen += described(*box);
    before_answer(*box);
    if (answers.isEmpty() || !answer(*box, answers.takeFirst()))
        pressEscape(*box);
}

QMessageBox* Hand::openBox()
{
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    return box != nullptr && box->isVisible() ? box : nullptr;
}

QString Hand::described(const QMessageBox& box)
{
    const QStringList icons{"plain", "information", "warning", "critical", "question"};
    QStringList captions;
    for (const QAbstractButton* button : box.buttons())
        captions += caption(*button);
    const QString text = (box.textFormat() == Qt::PlainText ? "unformatted: " : "") + box.text();
    return QString("%1 [%2] %3 (%4)")
        .arg(icons.value(box.icon()), box.windowTitle(), text, captions.join(", "));
}

bool Hand::answer(const QMessageBox& box, const QString& caption)
{
    for (QAbstractButton* button : box.buttons()) {
        if (::caption(*button) != caption)
            continue;
        button->click();
        return true;
    }
    return false;
}

bool Hand::press(const QWidget& dialog, const QString& name)
{
    auto* button = dialog.findChild<QAbstractButton*>(name);
    if (button == nullptr || !button->isEnabled() || !button->isVisible())
        return false;
    button->click();
    return true;
}

void Hand::pressEscape(QWidget& widget)
{
    QKeyEvent press(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(&widget, &press);
}

QString Hand::label(const QWidget& dialog, const QString& name)
{
    const auto* label = dialog.findChild<QLabel*>(name);
    return label != nullptr ? label->text() : QString();
}

QString Hand::plain(const QString& text)
{
    QString read = Qt::mightBeRichText(text) ? QTextDocumentFragment::fromHtml(text).toPlainText() : text;
    return read.remove(QChar::ObjectReplacementCharacter).simplified();
}
