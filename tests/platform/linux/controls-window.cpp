// A window with ordinary Qt controls for the desktop tests. Prints a line when a control is used.

#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenuBar>
#include <QPushButton>
#include <QRadioButton>
#include <QTabWidget>
#include <QVBoxLayout>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {
void tell(const char *what)
{
    std::puts(what);
    std::fflush(stdout);
}

void openDialog(QWidget *parent)
{
    QDialog dialog(parent);
    dialog.setWindowTitle(u"Question"_s);
    QPushButton close(u"Close the dialog"_s, &dialog);
    QObject::connect(&close, &QPushButton::clicked, &dialog, &QDialog::accept);
    tell("dialog opened");
    dialog.exec();
    tell("dialog closed");
}
} // namespace

int main(int argc, char **argv)
{
    const QApplication application(argc, argv);
    QMainWindow window;
    window.setWindowTitle(u"Controls"_s);
    QMenu *const file = window.menuBar()->addMenu(u"&File"_s);
    file->addAction(u"&Greet"_s, [] { tell("greeted"); });
    QMenu *const more = file->addMenu(u"More"_s);
    more->addAction(u"Wave"_s, [] { tell("waved"); });

    auto *const page = new QWidget;
    auto *const layout = new QVBoxLayout(page);
    const auto add = [&](auto *control) {
        layout->addWidget(control);
        return control;
    };
    add(new QLabel(u"A label"_s));
    auto *const open = add(new QPushButton(u"Open &dialog"_s));
    QObject::connect(open, &QPushButton::clicked, &window, [&] { openDialog(&window); });
    auto *const check = add(new QCheckBox(u"Check me"_s));
    QObject::connect(check, &QCheckBox::toggled, &window,
                     [](bool on) { tell(on ? "checked" : "unchecked"); });
    auto *const radio = add(new QRadioButton(u"Choose me"_s));
    QObject::connect(radio, &QRadioButton::toggled, &window, [] { tell("chosen"); });
    auto *const disabled = add(new QPushButton(u"Not now"_s));
    disabled->setEnabled(false);
    auto *const described = add(new QPushButton);
    described->setAccessibleDescription(u"Described"_s);
    add(new QLineEdit(u"typed text"_s));
    auto *const password = add(new QLineEdit(u"secret"_s));
    password->setEchoMode(QLineEdit::Password);
    auto *const hidden = add(new QPushButton(u"Hidden"_s));
    hidden->hide();

    QTabWidget tabs;
    tabs.addTab(page, u"First"_s);
    auto *const second = new QPushButton(u"Behind"_s);
    QObject::connect(second, &QPushButton::clicked, &window, [] { tell("behind"); });
    tabs.addTab(second, u"Second"_s);
    window.setCentralWidget(&tabs);
    QDialog never(&window);
    const QPushButton button(u"In a closed window"_s, &never);
    window.show();
    const int status = QApplication::exec();
    tabs.setParent(nullptr);
    return status;
}
