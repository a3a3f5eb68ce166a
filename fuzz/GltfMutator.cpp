// Changes the JSON of a glTF file and leaves it JSON: changed bytes hardly ever get beyond the parser.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

using Json = nlohmann::json;

// libFuzzer's own way of changing bytes.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace
{

constexpr std::size_t jsonBegin = 20;       // in a binary file, behind the file's header and the chunk's
constexpr std::ptrdiff_t maxNesting = 4000; // what goes through it here goes by recursion

class Mutator
{
public:
    explicit Mutator(unsigned seed) : random(seed) {}

    // True once in so many times.
    bool Once(std::size_t times) { return Below(times) == 0; }

    void Change(Json& root)
    {
        std::vector<Json*> all;
        Collect(root, all);
        Json& value = *all[Below(all.size())];
        const Json other = *all[Below(all.size())];
        switch (Below(6))
        {
        case 0:
            value = other;
            return;
        case 1:
            if (value.is_array())
                value.insert(value.begin() + std::ptrdiff_t(Below(value.size() + 1)), other);
            return;
        case 2:
            if (value.is_structured() && !value.empty())
                value.erase(std::next(value.begin(), std::ptrdiff_t(Below(value.size()))));
            return;
        default:
            ChangeValue(value);
            return;
        }
    }

private:
    std::size_t Below(std::size_t end) { return std::uniform_int_distribution<std::size_t>(0, end - 1)(random); }

    static void Collect(Json& value, std::vector<Json*>& all)
    {
        all.push_back(&value);
        if (!value.is_structured())
            return;
        for (Json& element : value)
            Collect(element, all);
    }

    // Numbers become a little or very different ones; what holds others, or is text, becomes something else.
    void ChangeValue(Json& value)
    {
        static const std::vector<Json> edges = {0,
                                                1,
                                                2,
                                                3,
                                                4,
                                                36,
                                                -1,
                                                0.5,
                                                -0.0,
                                                1e300,
                                                5121,
                                                5123,
                                                5125,
                                                5126,
                                                252,
                                                2147483647,
                                                2147483648,
                                                4294967295,
                                                4294967296,
                                                std::numeric_limits<std::uint64_t>::max(),
                                                std::numeric_limits<std::int64_t>::min(),
                                                nullptr,
                                                true,
                                                "",
                                                "POSITION",
                                                "data:;base64,AAAA",
                                                "data:embedded-0",
                                                "data:,x",
                                                "uri",
                                                "0.bin",
                                                "../0.bin",
                                                "../../0.bin",
                                                "/etc/passwd",
                                                "%2fetc%2fpasswd",
                                                "file:0.bin",
                                                Json::array(),
                                                Json::object()};
        if (value.is_number_integer() && Once(2))
            value = value.get<std::int64_t>() % 1'000'000 + std::int64_t(Below(9)) - 4;
        else if (!value.is_structured() || Once(8))
            value = edges[Below(edges.size())];
    }

    std::minstd_rand random;
};

std::uint32_t ReadUint32(const std::string& bytes, std::size_t offset)
{
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof(value));
    return value;
}

void WriteUint32(std::string& bytes, std::size_t offset, std::size_t number)
{
    const auto value = std::uint32_t(number);
    std::memcpy(bytes.data() + offset, &value, sizeof(value));
}

// Returns the file with its JSON changed, empty when there is none in it.
std::string ChangeJson(const std::string& file, Mutator& mutator)
{
    const bool isBinary = file.size() >= jsonBegin && file.starts_with("glTF");
    const std::size_t begin = isBinary ? jsonBegin : 0;
    const std::size_t length =
        isBinary ? std::min<std::size_t>(ReadUint32(file, 12), file.size() - begin) : file.size();
    const std::string before = file.substr(begin, length);
    const auto opens = [](char c) { return c == '[' || c == '{'; };
    if (std::ranges::count_if(before, opens) > maxNesting)
        return {};
    Json json = Json::parse(before, nullptr, false);
    if (json.is_discarded())
        return {};
    do
        mutator.Change(json);
    while (mutator.Once(2));

    std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
    if (!isBinary)
        return text;
    text.resize((text.size() + 3) / 4 * 4, ' ');
    std::string changed = file.substr(0, begin) + text + file.substr(begin + length);
    WriteUint32(changed, 8, changed.size());
    WriteUint32(changed, 12, text.size());
    return changed;
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed)
{
    Mutator mutator(seed);
    const std::string changed =
        mutator.Once(4) ? "" : ChangeJson(std::string(reinterpret_cast<const char*>(data), size), mutator);
    if (changed.empty() || changed.size() > maxSize)
        return LLVMFuzzerMutate(data, size, maxSize);
    std::ranges::copy(changed, data);
    return changed.size();
}
