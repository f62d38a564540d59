// The application that no task uses. Records each key that it receives, each press of its buttons,
// each change of its text, and requests to close it:
//
//   quillon-live-bystander RECORD LABEL…

#include <QApplication>
#include <QCloseEvent>
#include <QFile>
#include <QGridLayout>
#include <QKeyEvent>
#include <QPlainTextEdit>
#include <QPushButton>

using namespace Qt::StringLiterals;

namespace {
class Bystander final : public QWidget
{
public:
    explicit Bystander(const QStringList &arguments) : m_record(arguments.value(1))
    {
        setWindowTitle(u"Bystander"_s);
        auto *const layout = new QGridLayout(this);
        layout->addWidget(&m_text, 0, 0, 1, columns);
        for (int i = 2; i < arguments.size(); ++i) {
            const QString &label = arguments[i];
            auto *const button = new QPushButton(label);
            button->setFocusPolicy(Qt::NoFocus);
            connect(button, &QPushButton::clicked, this,
                    [this, label] { note(u"pressed "_s + label); });
            layout->addWidget(button, i / columns, i % columns);
        }
        connect(&m_text, &QPlainTextEdit::textChanged, this,
                [this] { note(u"text “%1”"_s.arg(m_text.toPlainText())); });
        m_text.installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        if (event->type() == QEvent::KeyPress) {
            const auto *const key = static_cast<QKeyEvent *>(event);
            note(u"key %1 “%2”"_s.arg(key->key()).arg(key->text()));
        }
        return QWidget::eventFilter(watched, event);
    }

    void closeEvent(QCloseEvent *event) override
    {
        note(u"asked to close"_s);
        event->ignore();
    }

private:
    static constexpr int columns = 5;

    void note(const QString &line)
    {
        QFile record(m_record);
        if (record.open(QIODevice::Append))
            record.write(line.toUtf8() + '\n');
    }

    const QString m_record;
    QPlainTextEdit m_text;
};
} // namespace

int main(int count, char **arguments)
{
    const QApplication application(count, arguments);
    Bystander window(QApplication::arguments());
    window.setGeometry(820, 560, 440, 220);
    window.show();
    return QApplication::exec();
}
