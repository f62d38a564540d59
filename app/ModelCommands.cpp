#include "app/ModelCommands.h"

#include "app/Terminal.h"
#include "models/ModelManager.h"
#include "models/ModelStore.h"

#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QDir>
#include <QFileInfo>
#include <QTimer>

#include <algorithm>
#include <cstdlib>

using namespace Qt::StringLiterals;

namespace {
QString thereAs(ModelStore::Placement placement)
{
    switch (placement) {
    case ModelStore::Placement::linked:
        return u"linked, so it takes no more room"_s;
    case ModelStore::Placement::copied:
        return u"copied"_s;
    case ModelStore::Placement::isInPlace:
        return u"it was there already"_s;
    }
    Q_UNREACHABLE();
}

QCoro::Task<> bring(QString path, Terminal &terminal)
{
    if (!QFileInfo(path).isFile())
        throw ModelStoreError(u"There is no file “%1”."_s.arg(path));
    terminal.showStatus(u"Loading it once, to see that it works…"_s);
    co_await ModelStore::check(path);

    const LocalModel model = ModelManager().selected();

    const ModelStore::Placement placement =
        ModelStore::place(path, model, [&terminal](double fraction) {
            terminal.showStatus(
                u"Copying, %1%…"_s.arg(QString::number(static_cast<int>(fraction * 100))));
        });
    const qint64 bytes = QFileInfo(path).size();
    terminal.print(u"%1 is there now: %2, %3."_s.arg(model.name, ModelStore::sizeText(bytes),
                                                     thereAs(placement)));
    if (!ModelStore::isSizeOf(model, bytes)) {
        terminal.print(
            u"Its usual size is about %1 MB: this is another model under its name."_s.arg(
                QString::number(model.sizeMB)));
    }
}

QCoro::Task<> import(QString path, Terminal &terminal)
{
    int status = EXIT_FAILURE;
    try {
        co_await bring(path, terminal);
        status = EXIT_SUCCESS;
    } catch (const ModelStoreError &error) {
        terminal.printError(error.description());
    }
    QCoreApplication::exit(status);
}
} // namespace

int ModelCommands::import(const QString &path)
{
    Terminal terminal;
    QCoro::Task<> running;
    QTimer::singleShot(0, &terminal, [&] { running = ::import(path, terminal); });
    return QCoreApplication::exec();
}

int ModelCommands::list()
{
    Terminal terminal;
    const ModelManager models;
    QList<ModelStore::File> files = ModelStore::files();
    terminal.print(QDir::toNativeSeparators(ModelManager::directory()));
    for (const LocalModel &model : LocalModel::catalog()) {
        const auto file = std::ranges::find(files, model.fileName, &ModelStore::File::name);
        const bool isThere = file != files.end();
        const QString state =
            isThere ? ModelStore::sizeText(file->bytes)
                    : u"not there, about %1 MB to fetch"_s.arg(QString::number(model.sizeMB));
        const QString choice = model == models.selected() ? u", chosen"_s : QString();
        terminal.print(u"  %1 %2 (%3): %4%5"_s.arg(isThere ? u"✓"_s : u"–"_s, model.name, model.id,
                                                   state, choice));
        if (isThere)
            files.erase(file);
    }
    for (const ModelStore::File &file : std::as_const(files))
        terminal.print(u"  · %1: %2, not used"_s.arg(file.name, ModelStore::sizeText(file.bytes)));
    return EXIT_SUCCESS;
}

int ModelCommands::remove(const QString &name)
{
    Terminal terminal;
    const QList<LocalModel> &catalog = LocalModel::catalog();
    const auto model = std::ranges::find(catalog, name, &LocalModel::id);
    try {
        const QString fileName = model == catalog.end() ? name : model->fileName;
        ModelStore::remove(fileName);
        terminal.print(u"Removed “%1”."_s.arg(fileName));
    } catch (const ModelStoreError &error) {
        terminal.printError(error.description());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
