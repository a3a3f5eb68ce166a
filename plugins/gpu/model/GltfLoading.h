#pragma once

#include "Varkle/Gpu/Model.h"

#include <memory>
#include <string>

namespace Varkle
{

/// Reads a glTF 2.0 file: the text form when its extension is exactly ".gltf", else the binary form. An empty model
/// when it can't be read, with the reason in the log, and when it has no scene. Null, with the reason in the log, when
/// the GPU could not take its meshes.
///
/// Whatever in it lies outside its buffers and lists is left out.
std::shared_ptr<Model> LoadFromFile(const std::string& path);

} // namespace Varkle
