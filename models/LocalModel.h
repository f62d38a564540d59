#pragma once

#include <QList>
#include <QString>
#include <QUrl>

#include <nlohmann/json_fwd.hpp>

/// A model that the user can choose, with its address and its file name.
struct LocalModel
{
    QString id; ///< Stable; the user's choice is stored as this.
    QString name;
    QString detail;   ///< One line under the name.
    QUrl url;         ///< Where the file is downloaded from.
    QString fileName; ///< In the models folder.
    int sizeMB = 0;   ///< Approximate, for display.

    bool operator==(const LocalModel &) const = default;

    /// The models on offer; the first is the default choice.
    static const QList<LocalModel> &catalog();
};

[[nodiscard]] size_t qHash(const LocalModel &model, size_t seed = 0);

/// A JSON object with the names of the fields as keys. from_json ignores unknown keys and throws
/// nlohmann::json::exception if one is missing or has another type.
void to_json(nlohmann::json &json, const LocalModel &model);
void from_json(const nlohmann::json &json, LocalModel &model);
