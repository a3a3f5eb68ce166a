// Runs a fuzz target where there is no libFuzzer: GltfFuzz [-runs=N] FOLDER|FILE...
// Each file as it is, then N (by default 100,000) changed ones. The same numbers give the same inputs.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned seed);

namespace
{

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t growth = 65536; // bytes that a changed file may have more than before

std::mt19937 random; // with its default seed

std::size_t Below(std::size_t end)
{
    return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
}

Bytes Read(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Numbers and characters that parsers trip over.
const std::string pieces[] = {"0",
                              "-1",
                              "1e999",
                              "4294967295",
                              "4294967296",
                              "18446744073709551615",
                              "{",
                              "}",
                              "[",
                              "]",
                              ",",
                              ":",
                              "\"",
                              "\\",
                              "null",
                              "{}",
                              "[]",
                              "\"\"",
                              std::string(4, '\0'),
                              std::string(4, '\xff')};

void Change(Bytes& bytes)
{
    const std::size_t at = Below(bytes.size() + 1);
    const auto place = bytes.begin() + std::ptrdiff_t(at);
    const std::size_t length = std::min(Below(16) + 1, bytes.size() - at);
    const std::string& piece = pieces[Below(std::size(pieces))];
    switch (Below(5))
    {
    case 0: // one byte
        if (length > 0)
            *place = std::uint8_t(random());
        return;
    case 1: // a few bytes less
        bytes.erase(place, place + std::ptrdiff_t(length));
        return;
    case 2: // a few bytes twice
    {
        const Bytes copy(place, place + std::ptrdiff_t(length));
        bytes.insert(place, copy.begin(), copy.end());
        return;
    }
    case 3: // something else in between
        bytes.insert(place, piece.begin(), piece.end());
        return;
    default: // something else instead
        bytes.erase(place, place + std::ptrdiff_t(std::min(piece.size(), bytes.size() - at)));
        bytes.insert(bytes.begin() + std::ptrdiff_t(at), piece.begin(), piece.end());
        return;
    }
}

} // namespace

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize)
{
    Bytes bytes(data, data + size);
    Change(bytes);
    bytes.resize(std::min(bytes.size(), maxSize));
    std::ranges::copy(bytes, data);
    return bytes.size();
}

int main(int count, char** arguments)
{
    unsigned long runs = 100'000;
    std::vector<Bytes> corpus;
    for (const std::string& argument : std::vector<std::string>(arguments + 1, arguments + count))
    {
        if (argument.starts_with("-runs="))
            runs = std::stoul(argument.substr(6));
        else if (!std::filesystem::is_directory(argument))
            corpus.push_back(Read(argument));
        else
            for (const auto& entry : std::filesystem::directory_iterator(argument))
                corpus.push_back(Read(entry.path()));
    }
    if (corpus.empty())
    {
        std::fputs("error: name files or folders to start from\n", stderr);
        return 1;
    }
    for (const Bytes& bytes : corpus)
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    for (unsigned long run = 0; run < runs; ++run)
    {
        Bytes bytes = corpus[Below(corpus.size())];
        std::size_t size = bytes.size();
        bytes.resize(size + growth);
        for (std::size_t changes = Below(4) + 1; changes > 0; --changes)
            size = LLVMFuzzerCustomMutator(bytes.data(), size, bytes.size(), unsigned(Below(1U << 31)));
        LLVMFuzzerTestOneInput(bytes.data(), size);
    }
    std::printf("%lu runs\n", runs);
    return 0;
}
