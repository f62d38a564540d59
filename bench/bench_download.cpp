// The model manager's download compared with curl: the same server on loopback, the same folder, in
// turns; and its memory.
#include "bench/BodyServer.h"
#include "bench/Measure.h"
#include "models/ModelManager.h"

#include <QCoreApplication>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <QTimer>

#include <unistd.h>

#include <algorithm>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace {
using Measure::Json;

constexpr long long bodySize = 1'000'000'000;
constexpr int rounds = 9;

// Accepts every file as a model, so that a finished download ends in `loaded`.
class AnyFileEngine final : public InferenceEngine
{
public:
    [[nodiscard]] bool isLoaded() const override { return false; }
    [[nodiscard]] QCoro::Task<> load(QString) override { co_return; }
    void unload() override {}
    [[nodiscard]] QCoro::Task<QString> generate(QList<ChatMessage>, int, OnToken) override
    {
        co_return QString();
    }
};

class Server
{
public:
    Server()
    {
        m_process.start(QCoreApplication::applicationFilePath(), {u"--serve"_s});
        if (!m_process.waitForReadyRead())
            throw std::runtime_error("The server did not start.");
        const int port = m_process.readLine().trimmed().toInt();
        m_url = QUrl(u"http://127.0.0.1:%1/model.gguf"_s.arg(port));
    }
    ~Server()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    [[nodiscard]] const QUrl &url() const { return m_url; }

private:
    QProcess m_process;
    QUrl m_url;
};

void expectWhole(const QString &path)
{
    if (QFile(path).size() != bodySize || !QFile::remove(path))
        throw std::runtime_error("The download is not whole.");
}

struct Curl
{
    double seconds = 0;
    double flushSeconds = 0; ///< Until the file is on the disk, which curl does not wait for.
};

Curl downloadWithCurl(const QUrl &url)
{
    const QString path = QDir(ModelManager::directory()).filePath(u"curl.gguf"_s);
    QProcess curl;
    curl.start(u"curl"_s, {u"--silent"_s, u"--show-error"_s, u"--output"_s, path, u"--write-out"_s,
                           u"%{time_total}"_s, url.toString()});
    if (!curl.waitForFinished(-1) || curl.exitCode() != 0)
        throw std::runtime_error("curl is not installed, or it failed.");
    const double seconds = curl.readAllStandardOutput().toDouble();

    const Measure::Stopwatch flushing;
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite) || fsync(file.handle()) != 0)
        throw std::runtime_error("The file could not be flushed.");
    const double flushSeconds = flushing.seconds();
    expectWhole(path);
    return {seconds, flushSeconds};
}

struct Ours
{
    double seconds = 0;
    double growthMB = 0;
    int progressReports = 0;
};

Ours download(ModelManager &manager)
{
    using Case = ModelManager::State::Case;
    Ours result;
    const double before = Measure::residentMB();
    QTimer sampler;
    QObject::connect(&sampler, &QTimer::timeout, [&] {
        result.growthMB = std::max(result.growthMB, Measure::residentMB() - before);
    });
    sampler.start(20);

    QEventLoop loop;
    const Measure::Stopwatch watch;
    const auto connection = QObject::connect(&manager, &ModelManager::stateChanged, &loop, [&] {
        const Case now = manager.state().kind;
        if (now == Case::downloading)
            ++result.progressReports;
        else if (result.seconds == 0)
            result.seconds = watch.seconds();
        if (now == Case::loaded || now == Case::failed)
            loop.quit();
    });
    manager.download();
    loop.exec();
    QObject::disconnect(connection);
    if (manager.state().kind != Case::loaded)
        throw std::runtime_error(manager.state().message.toStdString());
    expectWhole(QDir(ModelManager::directory()).filePath(manager.selected().fileName));
    return result;
}

Measure::Summary throughput(std::vector<double> seconds)
{
    for (double &value : seconds)
        value = static_cast<double>(bodySize) / 1e6 / value;
    return Measure::summarize(seconds);
}

struct Rounds
{
    std::vector<double> curl;
    std::vector<double> flushedCurl;
    std::vector<double> ours;
    double growthMB = 0;
    int progressReports = 0;
};

Json described(const Rounds &all)
{
    return {{"throughputRatio", Measure::summarize(Measure::ratios(all.flushedCurl, all.ours))},
            {"throughputRatioToUnflushed", Measure::summarize(Measure::ratios(all.curl, all.ours))},
            {"managerMBPerSecond", throughput(all.ours)},
            {"curlMBPerSecond", throughput(all.flushedCurl)},
            {"unflushedCurlMBPerSecond", throughput(all.curl)},
            {"memoryGrowthMB", all.growthMB},
            {"progressReports", all.progressReports}};
}

// Into a home below the folder, so that the user's models and settings are not touched.
Json measure(const QString &folder, const QUrl &url)
{
    const QTemporaryDir home(folder + u"/quillon-bench-XXXXXX"_s);
    for (const char *variable : {"HOME", "XDG_DATA_HOME", "XDG_CONFIG_HOME", "XDG_CACHE_HOME"})
        qputenv(variable, home.path().toUtf8());
    if (QStorageInfo(home.path()).bytesAvailable() < 2 * bodySize)
        throw std::runtime_error("There is no room for 1 GB in " + folder.toStdString() + ".");

    ModelManager manager(std::make_shared<AnyFileEngine>());
    const LocalModel usual = manager.selected();
    LocalModel model = usual;
    model.id = u"bench"_s;
    model.url = url;
    model.fileName = url.fileName();
    manager.select(model);

    Rounds all;
    // The first round is not counted: caches are cold.
    for (int round = 0; round <= rounds; ++round) {
        Measure::say("download: " + folder.toStdString() + ", round " + std::to_string(round));
        const Curl curl = downloadWithCurl(url);
        const Ours ours = download(manager);
        all.growthMB = std::max(all.growthMB, ours.growthMB);
        if (round == 0)
            continue;
        all.curl.push_back(curl.seconds);
        all.flushedCurl.push_back(curl.seconds + curl.flushSeconds);
        all.ours.push_back(ours.seconds);
        all.progressReports = ours.progressReports;
    }
    manager.select(usual);
    return described(all);
}

int measureAll()
{
    const Server server;
    Json figures{{"disk", measure(QDir::tempPath(), server.url())}};
    // If there is a file system in memory, it shows the transfer without the disk's variance.
    const QString memory = u"/dev/shm"_s;
    if (QFileInfo(memory).isWritable() && QStorageInfo(memory).bytesAvailable() > 2 * bodySize)
        figures["memory"] = measure(memory, server.url());

    std::vector<Measure::Goal> goals;
    for (const auto &[place, found] : figures.items()) {
        goals.push_back({"throughput, manager / curl, to " + place,
                         found.at("throughputRatio").at("median"), Measure::Goal::Side::atLeast,
                         0.9});
        goals.push_back({"growth of memory during 1 GB in MB, to " + place,
                         found.at("memoryGrowthMB"), Measure::Goal::Side::atMost, 20});
    }
    Measure::report("download", goals, figures);
    return EXIT_SUCCESS;
}
} // namespace

int main(int argc, char *argv[])
{
    if (argc == 2)
        BodyServer::serve(bodySize);

    const QCoreApplication application(argc, argv);
    try {
        return measureAll();
    } catch (const std::exception &error) {
        Measure::say(error.what());
        return EXIT_FAILURE;
    }
}
