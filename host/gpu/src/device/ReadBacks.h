#pragma once

#include "Varkle/Gpu/Texture.h"

#include <chrono>
#include <cstddef>
#include <cstdint>

// The read-backs that are under way, for Graphics.
namespace Varkle::ReadBacks
{

std::size_t Count();
/// Returns the bytes of the images that they will give.
std::uint64_t CountBytes();
/// Runs the callbacks of those that have finished.
void Deliver();
/// Sleeps until one has finished and ran its callback, or the time is over.
void Wait(std::chrono::milliseconds timeout);
/// Ends all with invalid images.
void Abort();

} // namespace Varkle::ReadBacks
