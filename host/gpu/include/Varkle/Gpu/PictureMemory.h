#pragma once

#include "Varkle/Core/Export.h"

#include <cstdint>

namespace Varkle
{

/// How many bytes of pictures may wait in main memory before whoever makes more of them should wait for some to go:
/// four of 8192 by 4096 pixels. What encodes them takes up to twice as much beside.
constexpr std::uint64_t PictureMemoryBudget = std::uint64_t(512) << 20;

/// Returns how many bytes of main memory the pixels of all Images take, and those that are on their way back from the
/// GPU (Texture::ReadPixelsAsync) will take. Main thread only.
VARKLE_API std::uint64_t GetPictureMemory();

} // namespace Varkle
