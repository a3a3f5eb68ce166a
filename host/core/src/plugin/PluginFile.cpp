#include "plugin/PluginFile.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <elf.h>
#include <fstream>
#include <link.h>
#include <string_view>
#include <system_error>
#include <vector>

namespace Varkle
{

namespace
{

namespace fs = std::filesystem;

constexpr std::string_view interfaceVersion = VARKLE_INTERFACE_VERSION;

// Reads values and bytes at places that the file itself names, which need not be inside it.
class FileReader
{
public:
    explicit FileReader(const fs::path& path) : file(path, std::ios::binary)
    {
        std::error_code code;
        size = fs::file_size(path, code);
        if (code)
            file.close();
    }

    bool IsOpen() const { return file.is_open(); }
    std::uint64_t GetSize() const { return size; }
    bool Has(std::uint64_t offset, std::uint64_t count) const { return offset <= size && count <= size - offset; }

    template<class T>
    bool Read(std::uint64_t offset, T* values, std::uint64_t count)
    {
        if (!Has(offset, count * sizeof(T)))
            return false;
        file.seekg(std::streamoff(offset));
        return bool(file.read(reinterpret_cast<char*>(values), std::streamsize(count * sizeof(T))));
    }

private:
    std::ifstream file;
    std::uint64_t size = 0;
};

std::string DescribeCut(const FileReader& file, std::uint64_t needed)
{
    return "the file is cut off: it has " + std::to_string(file.GetSize()) + " bytes and should have at least " +
           std::to_string(needed);
}

// Finds the version in the notes of one segment: each is two sizes, a type, a name and a content, the latter two filled
// up to whole words (System V ABI, "Note Section"). Empty when there is none.
std::string FindVersion(const std::vector<char>& notes)
{
    const auto padded = [](std::size_t size) { return (size + 3) / 4 * 4; };
    constexpr std::string_view owner("Varkle", sizeof("Varkle"));
    constexpr std::uint32_t versionNote = 1;
    ElfW(Nhdr) header;
    for (std::size_t at = 0; notes.size() - at >= sizeof(header);)
    {
        std::memcpy(&header, notes.data() + at, sizeof(header));
        at += sizeof(header);
        const std::size_t rest = notes.size() - at;
        const std::size_t nameSize = padded(header.n_namesz);
        if (nameSize > rest || header.n_descsz > rest - nameSize)
            return {};
        const char* const content = notes.data() + at + nameSize;
        if (std::string_view(notes.data() + at, header.n_namesz) == owner && header.n_type == versionNote)
            return {content, std::find(content, content + header.n_descsz, '\0')};
        at += std::min(nameSize + padded(header.n_descsz), rest);
    }
    return {};
}

std::optional<std::string> FindFaultInLibrary(FileReader& file)
{
    ElfW(Ehdr) header = {};
    char magic[SELFMAG] = {};
    if (!file.Read(0, magic, SELFMAG) || std::string_view(magic, SELFMAG) != ELFMAG)
        return "this is not a shared library";
    if (!file.Read(0, &header, 1))
        return DescribeCut(file, sizeof(header));
    constexpr int nativeClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
    constexpr int nativeOrder = std::endian::native == std::endian::little ? ELFDATA2LSB : ELFDATA2MSB;
    if (header.e_ident[EI_CLASS] != nativeClass || header.e_ident[EI_DATA] != nativeOrder)
        return {}; // of another kind of machine, which the linker says

    std::vector<ElfW(Phdr)> segments(header.e_phentsize == sizeof(ElfW(Phdr)) ? header.e_phnum : 0);
    if (!file.Read(header.e_phoff, segments.data(), segments.size()))
        return DescribeCut(file, header.e_phoff + segments.size() * sizeof(ElfW(Phdr)));
    std::string version;
    for (const ElfW(Phdr) & segment : segments)
    {
        if (!file.Has(segment.p_offset, segment.p_filesz))
            return DescribeCut(file, segment.p_offset + segment.p_filesz);
        if (segment.p_type != PT_NOTE || !version.empty())
            continue;
        std::vector<char> notes(segment.p_filesz);
        if (file.Read(segment.p_offset, notes.data(), notes.size()))
            version = FindVersion(notes);
    }
    if (!version.empty() && version != interfaceVersion)
        return "it was built for version " + version + " of Varkle, and this is version " +
               std::string(interfaceVersion);
    return {};
}

} // namespace

std::optional<std::string> FindPluginFault(const fs::path& path)
{
    std::error_code code;
    const fs::file_status status = fs::status(path, code);
    if (status.type() == fs::file_type::not_found)
        return "there is no such file";
    if (fs::is_directory(status))
        return "this is a folder";
    if (fs::exists(status) && !fs::is_regular_file(status)) // opening a pipe would wait for its other end
        return "this is not a regular file";
    FileReader file(path);
    if (!file.IsOpen())
        return "the file can't be read";
    return FindFaultInLibrary(file);
}

} // namespace Varkle
