#pragma once

#include <QList>
#include <QString>
#include <QUrl>

#include <nlohmann/json_fwd.hpp>

/// One model that the user can choose: where it comes from and what its file is called.
struct LocalModel
{
    QString id; ///< Stable; what the user's choice is remembered by.
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

/// A keyed record under the field names. Reading ignores unknown keys and throws
/// nlohmann::json::exception where one is missing or of another type.
void to_json(nlohmann::json &json, const LocalModel &model);
void from_json(const nlohmann::json &json, LocalModel &model);
