#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

/// Runs a fuzz target, without libFuzzer, on each file of a folder. Fails if there is none.
int main(int /*argc*/, char** argv) {
    int status = 1;
    for (const auto& entry : std::filesystem::directory_iterator(argv[1])) {
        std::cout << entry.path() << std::endl; // shown before the run: it may be the last
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string input{std::istreambuf_iterator<char>(file), {}};
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.data()), input.size());
        status = 0;
    }
    return status;
}
