#pragma once

#include "models/LocalModel.h"

#include <QString>

#include <optional>

/// The model that comes with the program and needs no download, tuned for its conversation only. It
/// is not in the catalogue.
namespace SmallModel {
/// Its record; the address is empty, since it is not downloaded.
[[nodiscard]] const LocalModel &model();

/// The path of its file; nothing if the program was built or installed without it. Needs the
/// application object.
[[nodiscard]] std::optional<QString> file();
} // namespace SmallModel
