// Runs a fuzz target on every file in the folders given on the command line. Needs no libFuzzer, so
// it is part of any build.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

int main(int argc, char *argv[])
{
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < argc; ++i) {
        for (const auto &entry : std::filesystem::directory_iterator(argv[i])) {
            if (entry.is_regular_file())
                inputs.push_back(entry.path());
        }
    }
    // Without inputs, nothing would be tested.
    if (inputs.empty()) {
        std::cerr << "There is nothing to replay.\n";
        return EXIT_FAILURE;
    }
    std::sort(inputs.begin(), inputs.end());
    for (const std::filesystem::path &input : inputs) {
        std::cerr << input.filename().string() << '\n';
        std::ifstream file(input, std::ios::binary);
        if (!file) {
            std::cerr << "It cannot be read.\n";
            return EXIT_FAILURE;
        }
        const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
        const std::vector<std::uint8_t> data(bytes.begin(), bytes.end());
        LLVMFuzzerTestOneInput(data.data(), data.size());
    }
    std::cerr << inputs.size() << " inputs replayed.\n";
    return EXIT_SUCCESS;
}
