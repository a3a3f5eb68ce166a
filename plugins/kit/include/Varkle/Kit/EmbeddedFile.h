#pragma once

#include <cstddef>
#include <string_view>

namespace Varkle
{

/// Is one file of the embedded file system: its path and its bytes, which live as long as the library.
struct EmbeddedFile
{
    std::string_view path;
    const unsigned char* begin;
    const unsigned char* end;
};

/// The files that the build put into the plug-in (varkle_add_plugin), in no particular order.
extern const EmbeddedFile embeddedFiles[];
extern const std::size_t embeddedFilesCount;

} // namespace Varkle
