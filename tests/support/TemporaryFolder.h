#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace Varkle
{

/// Is an empty folder that goes, with all in it, at the end of the test.
class TemporaryFolder
{
public:
    TemporaryFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "varkle-test-XXXXXX").string();
        if (!mkdtemp(name.data()))
            throw std::runtime_error("no temporary folder could be made");
        path = name;
    }
    ~TemporaryFolder()
    {
        std::error_code code;
        std::filesystem::remove_all(path, code);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// Returns the path of something in the folder.
    std::string operator/(std::string_view name) const { return (path / name).string(); }
    const std::filesystem::path& GetPath() const { return path; }

    /// Returns how many files, folders and links it holds, hidden ones included.
    std::size_t Count() const
    {
        return std::size_t(
            std::distance(std::filesystem::directory_iterator(path), std::filesystem::directory_iterator()));
    }

private:
    std::filesystem::path path;
};

/// Returns a file's bytes; empty when it can't be read.
inline std::string ReadBytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// Writes a file as it stands.
inline void WriteBytes(const std::string& path, std::string_view bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

} // namespace Varkle
