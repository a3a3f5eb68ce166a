#pragma once

#include "Varkle/Core/Result.h"
#include "Varkle/Gpu/Graphics.h"

#include <string>
#include <vector>

namespace Varkle
{

/// An adapter and the instance through which it was found.
struct Adapter
{
    wgpu::Instance instance;
    wgpu::Adapter adapter;
    AdapterInfo info;
};

/// Finds what this machine has, the best first.
std::vector<Adapter> FindAdapters();

/// Chooses one as Graphics::Start describes.
Result<Adapter> ChooseAdapter(const std::string& request);

/// Looks for adapters anew the next time, as after the loss of one.
void ForgetAdapters();

} // namespace Varkle
