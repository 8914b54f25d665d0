/// The update tool's form alone, saying that there is no hub, and nothing behind it.
#include "app/startup.h"
#include "app/texts.h"
#include "bench/first_paint.h"

#include <QApplication>

int main(int argc, char** argv)
{
    setScreenScaling();
    const QApplication application(argc, argv);
    EndAtFirstPaint paint;
    Q_INIT_RESOURCE(resources);
    setFormLook();
    QDialog dialog;
    Ui::FW_Update_ToolClass form;
    form.setupUi(&dialog);
    form.lblInfo->setText(texts::noHub());
    dialog.setWindowFlags(Qt::FramelessWindowHint);
    dialog.show();
    return QApplication::exec();
}
