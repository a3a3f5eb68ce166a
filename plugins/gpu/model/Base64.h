#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace Varkle
{

/// Decodes base64 (RFC 4648, the standard alphabet, the padding optional). Nothing when the text has any other
/// character, or a length that base64 can't have.
std::optional<std::vector<unsigned char>> DecodeBase64(std::string_view text);

} // namespace Varkle
