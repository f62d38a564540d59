#include "tests/inference/HostileModelList.h"

#include <ggml.h>

using namespace HostileModels;

namespace {
// Gives the tensor as many random weights of that type.
void retype(GgufFile::Tensor &tensor, std::uint32_t type)
{
    tensor.type = type;
    std::uint64_t rows = 1;
    for (std::size_t i = 1; i < tensor.dimensions.size(); ++i)
        rows *= tensor.dimensions[i];
    const auto known = static_cast<ggml_type>(type);
    const bool exists = type < GGML_TYPE_COUNT && ggml_blck_size(known) > 0;
    const std::uint64_t row =
        exists ? ggml_row_size(known, static_cast<std::int64_t>(tensor.dimensions[0])) : 64;
    tensor.weights = noiseBytes(row * rows);
}

bool isMatrix(const GgufFile::Tensor &tensor)
{
    return tensor.dimensions.size() > 1;
}

void addTypes(List &list, const GgufFile &base, const QByteArray &size)
{
    for (std::uint32_t type = 0; type < GGML_TYPE_COUNT + 3; ++type) {
        const QByteArray suffix = " of type " + QByteArray::number(type) + ", " + size;
        // One tensor for each way in which the library computes with them.
        for (const char *const name :
             {"token_embd.weight", "blk.0.attn_norm.weight", "blk.0.attn_v.weight",
              "blk.0.ffn_down.weight", "output.weight"}) {
            list.add(
                name + suffix, [name, type](GgufFile &file) { retype(file.tensor(name), type); },
                base);
        }
        list.add(
            "all matrices" + suffix,
            [type](GgufFile &file) {
                for (GgufFile::Tensor &each : file.tensors) {
                    if (isMatrix(each))
                        retype(each, type);
                }
            },
            base);
    }
}
} // namespace

std::vector<Hostile> HostileModels::types()
{
    List list;
    addTypes(list, narrow(), "narrow");
    // Types whose blocks fit into narrow rows are in the list already.
    for (std::uint32_t type = 0; type < GGML_TYPE_COUNT; ++type) {
        if (ggml_blck_size(static_cast<ggml_type>(type)) <= 32)
            continue;
        for (const char *const name : {"token_embd.weight", "output.weight", "blk.0.attn_v.weight",
                                       "blk.0.attn_norm.weight"}) {
            list.add(
                name + (" of type " + QByteArray::number(type)) + ", wide",
                [name, type](GgufFile &file) { retype(file.tensor(name), type); }, wide());
        }
    }
    return list.take();
}

std::vector<Hostile> HostileModels::shapes()
{
    List list;
    for (const GgufFile::Tensor &tensor : narrow().tensors) {
        const auto add = [&](const QByteArray &what, const std::vector<std::uint64_t> &dimensions) {
            list.add(tensor.name + what, [name = tensor.name, dimensions](GgufFile &file) {
                GgufFile::Tensor &changed = file.tensor(name);
                changed.dimensions = dimensions;
                std::uint64_t count = 1;
                for (const std::uint64_t each : dimensions)
                    count *= each;
                if (count < 1'000'000)
                    changed.weights = QByteArray(static_cast<qsizetype>(4 * count), '\1');
            });
        };
        const std::uint64_t width = tensor.dimensions[0];
        const std::uint64_t height = isMatrix(tensor) ? tensor.dimensions[1] : 1;
        add(" without dimensions", {});
        add(" of no width", {0, height});
        add(" of no height", {width, 0});
        add(" of width 1", {1, height});
        add(" of half the width", {width / 2, height});
        add(" of twice the width", {2 * width, height});
        add(" of height 1", {width, 1});
        add(" of half the height", {width, height / 2});
        add(" of twice the height", {width, 2 * height});
        add(" lying", {height, width});
        add(" in a row", {width * height});
        add(" in three dimensions", {width, height, 2});
        add(" in four dimensions", {width, height, 1, 1});
        add(" of four billion columns", {1ULL << 32, height});
        add(" as large as numbers go", {1ULL << 62, 2});
        add(" of a product that wraps round", {1ULL << 32, 1ULL << 32});
        list.add(tensor.name + " missing", [name = tensor.name](GgufFile &file) {
            std::erase_if(file.tensors, [&](const auto &each) { return each.name == name; });
        });
    }
    return list.take();
}
