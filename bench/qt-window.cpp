// A window of Qt's ordinary controls, as many as it is told to: six elements a row.

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
        controls->addWidget(new QLabel(QStringLiteral("Label ") + number));
        controls->addWidget(new QPushButton(QStringLiteral("Button ") + number));
        controls->addWidget(new QLineEdit);
        controls->addWidget(new QCheckBox(QStringLiteral("Check ") + number));
        controls->addWidget(new QRadioButton(QStringLiteral("Radio ") + number));
        column->addWidget(row);
    }
    QScrollArea window;
    window.setWindowTitle(QStringLiteral("Many controls"));
    window.resize(600, 400);
    window.setWidget(list);
    window.show();
    return QApplication::exec();
}
