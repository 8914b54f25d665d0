/// The reference of the start: the smallest program that shows a dialog with as many widgets of the
/// same kinds as the update tool's.
#include "bench/first_paint.h"

#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    FirstPaint paint(endProcess);
    QDialog dialog;
    QVBoxLayout column(&dialog);
    for (const char* text : {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11"})
        column.addWidget(new QLabel(text));
    column.addWidget(new QFrame);
    column.addWidget(new QProgressBar);
    column.addWidget(new QCheckBox("check"));
    column.addWidget(new QPushButton("update"));
    column.addWidget(new QPushButton("exit"));
    column.addWidget(new QWidget);
    column.addWidget(new QWidget);
    dialog.show();
    return QApplication::exec();
}
