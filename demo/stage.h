/// The dialog as the walkthrough plays it: takes pictures, answers message boxes, follows the progress bar.
#pragma once

#include "app/fw_update_tool.h"
#include "demo/hand.h"
#include "demo/narrator.h"

#include <QImage>

#include <deque>
#include <vector>

/// One message box that a story expects, the button that is pressed in it, and the name of its picture.
struct Answer
{
    QString title;
    QString button;
    QString picture; ///< empty when the story has shown such a box before
};

class Stage : public QObject
{
    Q_OBJECT

public:
    Stage(Narrator& narrator, const QString& picturesDir);

    /// Opens a new dialog with the settings file at `settingsPath`.
    void open(const QString& settingsPath);
    /// Presses "Update" and stays until the work is over, answering the boxes in order and taking one picture
    /// in the middle of each write.
    void pressUpdate(const std::deque<Answer>& answers, std::deque<QString> progressPictures = {});
    void tickOverride();
    /// The boxes that opening the dialog is going to show.
    void expect(const std::deque<Answer>& answers);

    void picture(const QString& name);
    /// Puts a picture that another process took on the sheet.
    void addPicture(const QString& name);
    /// All pictures so far on one sheet.
    void saveContactSheet(const QString& name);

    QString label(const char* name) const;
    bool updateOffered() const;
    bool overrideOffered() const;

private:
    void seeBox(QMessageBox& box);
    void followProgress(int percent);
    QString fileOf(const QString& name) const;
    void keep(const QImage& image, const QString& name);

    struct Picture
    {
        QString name;
        QImage image;
    };

    Narrator& narrator_;
    QString picturesDir_;
    std::unique_ptr<FW_Update_Tool> dialog_;
    std::deque<Answer> answers_;
    std::deque<QString> progressPictures_;
    bool pictureDue_ = true;
    int progressSaid_ = 0;
    Hand hand_;
    std::vector<Picture> pictures_;
};
