/// Plays the dialog through the hand, and checks on the way.
#include "demo/stage.h"

#include "app/startup.h"

#include <QCheckBox>
#include <QDir>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>

namespace {

/// A box is answered a moment after it appeared, when it has been laid out and painted.
constexpr int moment_ms = 30;

} // namespace

Stage::Stage(Narrator& narrator, const QString& picturesDir)
    : narrator_(narrator)
    , picturesDir_(picturesDir)
    , hand_(moment_ms)
{
    hand_.before_answer = [this](QMessageBox& box) { seeBox(box); };
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

void Stage::expect(const std::deque<Answer>& answers)
{
    answers_ = answers;
    hand_.answers.clear();
    for (const Answer& answer : answers)
        hand_.answers += answer.button;
}

void Stage::pressUpdate(const std::deque<Answer>& answers, std::deque<QString> progressPictures)
{
    expect(answers);
    progressPictures_ = std::move(progressPictures);
    narrator_.check(Hand::press(*dialog_, "btnUpdate"), "\"Update\" can be pressed");
    for (const Answer& missing : answers_)
        narrator_.check(false, QString("the box \"%1\" appeared").arg(missing.title));
}

void Stage::tickOverride()
{
    Hand::press(*dialog_, "chkOverride");
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

void Stage::seeBox(QMessageBox& box)
{
    narrator_.say(QString("box \"%1\": %2").arg(box.windowTitle(), Hand::plain(box.text())));
    const Answer answer = answers_.empty() ? Answer{} : answers_.front();
    if (box.windowTitle() != answer.title) {
        narrator_.check(false, "this box was expected");
        hand_.answers.clear();
        return;
    }
    answers_.pop_front();
    if (!answer.picture.isEmpty())
        keep(box.grab().toImage(), answer.picture);
    narrator_.say(QString("... answered with [%1]").arg(answer.button));
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
    return Hand::plain(Hand::label(*dialog_, name));
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
