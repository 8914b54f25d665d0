#include "stage.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QMessageBox>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>
#include <QTextDocumentFragment>

#include "app/startup.h"

namespace {

/// What a text says, without its markup and pictures.
QString plain(const QString& text)
{
    return QTextDocumentFragment::fromHtml(text)
        .toPlainText()
        .remove(QChar::ObjectReplacementCharacter)
        .simplified();
}

} // namespace

Stage::Stage(Narrator& narrator, const QString& picturesDir)
    : narrator_(narrator)
    , picturesDir_(picturesDir)
{
    // A box is answered a moment after it appeared, when it has been laid out and painted.
    boxTimer_.setInterval(30);
    connect(&boxTimer_, &QTimer::timeout, this, &Stage::answerBox);
    boxTimer_.start();
}

void Stage::open(const QString& settingsPath)
{
    dialog_ = std::make_unique<FW_Update_Tool>();
    g_dialog = dialog_.get();
    readSettings(settingsPath, *dialog_);
    connect(dialog_->findChild<QProgressBar*>("bar1"), &QProgressBar::valueChanged, this,
            &Stage::followProgress);
    dialog_->show();
    QCoreApplication::processEvents();
}

void Stage::pressUpdate(std::deque<Answer> answers, std::deque<QString> progressPictures)
{
    answers_ = std::move(answers);
    progressPictures_ = std::move(progressPictures);
    QTest::mouseClick(dialog_->findChild<QPushButton*>("btnUpdate"), Qt::LeftButton);
    for (const Answer& missing : answers_)
        narrator_.check(false, QString("the box \"%1\" appeared").arg(missing.title));
    answers_.clear();
}

void Stage::tickOverride()
{
    QTest::mouseClick(dialog_->findChild<QCheckBox*>("chkOverride"), Qt::LeftButton, {}, QPoint(8, 8));
}

void Stage::picture(const QString& name)
{
    keep(dialog_->grab().toImage(), name);
}

void Stage::addPicture(const QString& name)
{
    const QImage image(fileOf(name));
    narrator_.check(!image.isNull(), "picture " + QFileInfo(fileOf(name)).fileName());
    pictures_.push_back({name, image});
}

QString Stage::fileOf(const QString& name) const
{
    return picturesDir_ + "/" + name + ".png";
}

void Stage::keep(const QImage& image, const QString& name)
{
    narrator_.check(image.save(fileOf(name)), "picture " + QFileInfo(fileOf(name)).fileName());
    pictures_.push_back({name, image});
}

void Stage::answerBox()
{
    auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
    if (!box || !box->isVisible())
        return;
    narrator_.say(QString("box \"%1\": %2").arg(box->windowTitle(), plain(box->text())));
    const Answer answer = answers_.empty() ? Answer{} : answers_.front();
    if (box->windowTitle() != answer.title) {
        narrator_.check(false, "this box was expected");
        box->reject();
        return;
    }
    answers_.pop_front();
    if (!answer.picture.isEmpty())
        keep(box->grab().toImage(), answer.picture);
    for (QAbstractButton* button : box->buttons()) {
        if (button->text().remove('&') != answer.button)
            continue;
        narrator_.say(QString("... answered with [%1]").arg(answer.button));
        QTest::mouseClick(button, Qt::LeftButton);
        return;
    }
    narrator_.check(false, QString("the box has a button [%1]").arg(answer.button));
    box->reject();
}

void Stage::followProgress(int percent)
{
    if (percent < progressSaid_) {
        progressSaid_ = 0;
        pictureDue_ = true;
    }
    if (percent < progressSaid_ + 10)
        return;
    progressSaid_ = percent / 10 * 10;
    narrator_.say(QString("... %1 %").arg(percent));
    if (percent < 50 || !pictureDue_ || progressPictures_.empty())
        return;
    picture(progressPictures_.front());
    progressPictures_.pop_front();
    pictureDue_ = false;
}

QString Stage::label(const char* name) const
{
    return plain(dialog_->findChild<QLabel*>(name)->text());
}

bool Stage::updateOffered() const
{
    return dialog_->findChild<QPushButton*>("btnUpdate")->isEnabled();
}

bool Stage::overrideOffered() const
{
    return dialog_->findChild<QCheckBox*>("chkOverride")->isVisible();
}

void Stage::saveContactSheet(const QString& name)
{
    constexpr int columns = 3;
    constexpr QSize cell(660, 400);
    constexpr int caption = 24;
    const int rows = (static_cast<int>(pictures_.size()) + columns - 1) / columns;
    QImage sheet(cell.width() * columns, cell.height() * rows, QImage::Format_RGB32);
    sheet.fill(Qt::white);
    QPainter painter(&sheet);
    for (std::size_t i = 0; i < pictures_.size(); ++i) {
        const auto index = static_cast<int>(i);
        const QPoint corner(index % columns * cell.width() + 8, index / columns * cell.height() + 8);
        painter.drawText(QRect(corner, QSize(cell.width(), caption)),
                         QString("%1  %2").arg(index + 1).arg(pictures_[i].name));
        painter.drawImage(corner + QPoint(0, caption), pictures_[i].image);
    }
    painter.end();
    narrator_.check(sheet.save(picturesDir_ + "/" + name), "all pictures on one sheet: demo/" + name);
}
