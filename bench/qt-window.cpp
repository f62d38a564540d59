// A window with ordinary Qt controls, six elements per row; the argument is the number of rows.

#include <QApplication>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QVBoxLayout>

#include <cstdlib>

using namespace Qt::StringLiterals;

int main(int argc, char **argv)
{
    const QApplication application(argc, argv);
    const int rows = argc > 1 ? std::atoi(argv[1]) / 6 : 1;
    auto *const list = new QWidget;
    auto *const column = new QVBoxLayout(list);
    for (int i = 0; i < rows; ++i) {
        const QString number = QString::number(i);
        auto *const row = new QWidget;
        auto *const controls = new QHBoxLayout(row);
        controls->addWidget(new QLabel(u"Label "_s + number));
        controls->addWidget(new QPushButton(u"Button "_s + number));
        controls->addWidget(new QLineEdit);
        controls->addWidget(new QCheckBox(u"Check "_s + number));
        controls->addWidget(new QRadioButton(u"Radio "_s + number));
        column->addWidget(row);
    }
    QScrollArea window;
    window.setWindowTitle(u"Many controls"_s);
    window.resize(600, 400);
    window.setWidget(list);
    window.show();
    return QApplication::exec();
}
