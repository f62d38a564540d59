#include "models/LocalModel.h"

#include <QHashFunctions>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <utility>

using namespace Qt::StringLiterals;

using nlohmann::json;

namespace {
QUrl hubUrl(const QString &account, const QString &repository, const QString &fileName)
{
    QUrl url;
    url.setScheme(u"https"_s);
    url.setHost(u"huggingface.co"_s);
    url.setPath(u"/%1/%2/resolve/main/%3"_s.arg(account, repository, fileName));
    if (!url.isValid())
        qFatal("A model of the catalogue has no valid address");
    return url;
}

LocalModel offer(const QString &id, const QString &name, const QString &detail,
                 const QString &account, const QString &repository, const QString &fileName,
                 int sizeMB)
{
    return {id, name, detail, hubUrl(account, repository, fileName), fileName, sizeMB};
}

std::string utf8(const QString &value)
{
    const QByteArray bytes = value.toUtf8();
    return {bytes.begin(), bytes.end()};
}

QString text(const json &object, const char *key)
{
    return QString::fromStdString(object.at(key).get_ref<const std::string &>());
}

// The JSON library would also convert booleans and fractions to integers, and truncate large
// numbers.
int wholeNumber(const json &object, const char *key)
{
    const json &value = object.at(key);
    if (!value.is_number_integer())
        throw json::type_error::create(302, "type must be an integer", &value);
    const bool fits = value.is_number_unsigned() ? std::in_range<int>(value.get<std::uint64_t>())
                                                 : std::in_range<int>(value.get<std::int64_t>());
    if (!fits)
        throw json::out_of_range::create(406, "integer out of range", &value);
    return value.get<int>();
}

QUrl address(const json &object, const char *key)
{
    const QUrl url(text(object, key), QUrl::StrictMode);
    if (!url.isValid())
        throw json::other_error::create(501, "text is not an address", &object.at(key));
    return url;
}
} // namespace

const QList<LocalModel> &LocalModel::catalog()
{
    static const QList<LocalModel> models = {
        offer(u"qwen2.5-1.5b"_s, u"Qwen2.5 1.5B Instruct"_s, u"Fast and light · ~1 GB"_s,
              u"itlwas"_s, u"Qwen2.5-1.5B-Instruct-Q4_K_M-GGUF"_s,
              u"qwen2.5-1.5b-instruct-q4_k_m.gguf"_s, 986),
        offer(u"llama3.2-3b"_s, u"Llama 3.2 3B Instruct"_s, u"Smarter planning · ~2 GB"_s,
              u"bartowski"_s, u"Llama-3.2-3B-Instruct-GGUF"_s,
              u"Llama-3.2-3B-Instruct-Q4_K_M.gguf"_s, 2019),
    };
    return models;
}

size_t qHash(const LocalModel &model, size_t seed)
{
    return qHashMulti(seed, model.id, model.name, model.detail, model.url, model.fileName,
                      model.sizeMB);
}

void to_json(json &record, const LocalModel &model)
{
    record = {{"id", utf8(model.id)},
              {"name", utf8(model.name)},
              {"detail", utf8(model.detail)},
              {"url", utf8(model.url.toString(QUrl::FullyEncoded))},
              {"fileName", utf8(model.fileName)},
              {"sizeMB", model.sizeMB}};
}

void from_json(const json &record, LocalModel &model)
{
    model = {text(record, "id"),     text(record, "name"),     text(record, "detail"),
             address(record, "url"), text(record, "fileName"), wholeNumber(record, "sizeMB")};
}
