#pragma once

#include "Varkle/Core/Result.h"
#include "Varkle/Gpu/Mesh.h"
#include "Varkle/Gpu/Model.h"

#include <cstdint>
#include <vector>

namespace Varkle
{

/// Encodes a mesh, or a model with its tree of nodes, as a binary glTF 2.0 file (.glb) and returns its bytes. Reads the
/// vertices, indices and textures back and waits for the GPU: meant for exports, not for every frame. Main thread only.
///
/// - A mesh becomes one node with one mesh of one primitive. In a model the meshes of one node are the primitives of
///   one mesh, and what several nodes show is written once.
/// - The six attributes of Attributes become POSITION, NORMAL, TANGENT, TEXCOORD_0, TEXCOORD_1 and COLOR_0; others of
///   one to four floats become custom attributes, "_" and their name. Indices become 32-bit ones.
/// - Textures are embedded as PNG. An UnlitMaterial uses KHR_materials_unlit; an emission above 1
///   KHR_materials_emissive_strength.
/// - What glTF has no words for is repaired where that changes nothing of what is meant: normals and tangents become
///   unit vectors, a sheared node two nodes, incomplete triangles at the end go. Otherwise it is left out: values that
///   are not finite, colors and factors outside their range, attributes of other formats or of other lengths than the
///   positions, a second set of texture coordinates without a first, indices without a vertex, and meshes without
///   vertices. Either way the log gets one warning that names it.
///
/// Source: Khronos, glTF 2.0 specification, ISO/IEC 12113:2022.
/// Errors: the pixels or vertices could not be read back, or the file would be larger than 4 GiB.
Result<std::vector<std::uint8_t>> EncodeGlb(const Mesh& mesh);
Result<std::vector<std::uint8_t>> EncodeGlb(const Model& model);

} // namespace Varkle
