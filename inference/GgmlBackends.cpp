#include "inference/GgmlBackends.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <ggml-backend.h>

#include <cstring>

#include <dlfcn.h>

namespace {
// The folder of the ggml library, or of the program if ggml is linked statically.
QByteArray libraryFolder()
{
    Dl_info found{};
    if (dladdr(reinterpret_cast<const void *>(&ggml_backend_load_all_from_path), &found) == 0)
        return {};
    return QFile::encodeName(QFileInfo(QFile::decodeName(found.dli_fname)).absolutePath());
}
} // namespace

void GgmlBackends::load()
{
    for (const QByteArray &folder : {libraryFolder(), QByteArray(QUILLON_GGML_BACKEND_DIR)}) {
        if (ggml_backend_reg_count() > 0)
            return;
        if (!folder.isEmpty())
            ggml_backend_load_all_from_path(folder.constData());
    }
}

QStringList GgmlBackends::names()
{
    QStringList names;
    for (std::size_t i = 0; i < ggml_backend_reg_count(); ++i)
        names.append(QString::fromUtf8(ggml_backend_reg_name(ggml_backend_reg_get(i))));
    return names;
}

QStringList GgmlBackends::extensions()
{
    QStringList extensions;
    for (std::size_t i = 0; i < ggml_backend_reg_count(); ++i) {
        const ggml_backend_reg_t part = ggml_backend_reg_get(i);
        const auto features = reinterpret_cast<ggml_backend_get_features_t>(
            ggml_backend_reg_get_proc_address(part, "ggml_backend_get_features"));
        const ggml_backend_feature *feature = features ? features(part) : nullptr;
        for (; feature && feature->name; ++feature) {
            if (feature->value && std::strcmp(feature->value, "0") != 0)
                extensions.append(QString::fromUtf8(feature->name));
        }
    }
    return extensions;
}
