#pragma once

#include "Varkle/Core/Export.h"
#include "Varkle/Core/Result.h"
#include "Varkle/Gpu/Mesh.h"
#include "Varkle/Gpu/Model.h"

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace Varkle
{

/// Encodes a mesh, or a model with its tree of nodes, as a binary glTF 2.0 file (.glb) and returns its bytes. Reads the
/// vertices, indices and textures back and waits for the GPU: meant for exports, not for every frame. Main thread only.
///
/// - A mesh becomes one node with one mesh of one primitive. In a model the meshes of one node are the primitives of
///   one mesh. What several nodes, meshes or materials share, down to a single attribute, is written once.
/// - The six attributes of Attributes become POSITION, NORMAL, TANGENT, TEXCOORD_0, TEXCOORD_1 and COLOR_0; others of
///   one to four floats become custom attributes, "_" and their name. Indices become 32-bit ones.
/// - Textures are embedded as PNG; those and the materials that a model lists come first, in their order. An
///   UnlitMaterial uses KHR_materials_unlit, its color decoded from sRGB to the linear one that readers expect; they
///   multiply it with a texture or vertex colors in linear light, which differs from here by up to 9 levels of 255. An
///   emission above 1 uses KHR_materials_emissive_strength.
/// - What glTF has no words for is repaired where that changes nothing of what is meant. Normals and tangents become
///   unit vectors, a sheared node becomes two, incomplete lines and triangles at the end go, attributes end with the
///   positions, and a textured mesh without texture coordinates gets zeros.
/// - Otherwise it is left out: attributes with a value that is not finite, colors outside 0 to 1, directions of length
///   0, attributes of other formats or with fewer values than there are positions, TANGENT without NORMAL, TEXCOORD_1
///   without TEXCOORD_0, values of a material outside their range, textures that can't become a PNG, matrices that are
///   not affine, meshes without vertices and those with indices that point at none (the index that starts a new strip
///   is one of them). Either way the log gets one warning that names it.
///
/// Source: Khronos, glTF 2.0 specification, ISO/IEC 12113:2022. The validator of Khronos finds no errors.
/// Errors: the pixels or vertices could not be read back, the tree has more than 4,194,304 nodes (those that appear in
/// several places count each time), or the file would be larger than 4 GiB.
VARKLE_API Result<std::vector<std::uint8_t>> EncodeGlb(const Mesh& mesh);
VARKLE_API Result<std::vector<std::uint8_t>> EncodeGlb(const Model& model);

/// Takes the next bytes of a file. An error ends the writing.
using GlbSink = std::function<Status(std::span<const std::uint8_t> bytes)>;

/// Encodes the same and hands it over piece by piece, in order, so that it never lies in memory as a whole: nothing is
/// held but what was read back from the GPU. Errors: those of EncodeGlb, before the first piece, and the sink's.
VARKLE_API Status WriteGlb(const Mesh& mesh, const GlbSink& sink);
VARKLE_API Status WriteGlb(const Model& model, const GlbSink& sink);
/// Writes it to a file, which takes its name when it is complete: what was there before stays until then, and after an
/// error. Such an error is "could not write PATH: " with the reason.
VARKLE_API Status WriteGlb(const Mesh& mesh, const std::string& path);
VARKLE_API Status WriteGlb(const Model& model, const std::string& path);

} // namespace Varkle
