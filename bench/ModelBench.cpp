#include "ModelBench.h"

#include "model/GltfLoading.h"
#include "model/GltfMaker.h"
#include "model/TinyGltf.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <stdexcept>

namespace Varkle::Bench
{

namespace
{

using namespace Varkle::Testing;

// A grid of about that many vertices with normals, texture coordinates and indices, 56 bytes for each vertex.
GltfMaker MakeGrid(unsigned vertices)
{
    const auto side = unsigned(std::sqrt(vertices));
    std::vector<float> positions;
    std::vector<float> normals;
    std::vector<float> uvs;
    std::vector<std::uint32_t> indices;
    for (unsigned y = 0; y < side; ++y)
    {
        for (unsigned x = 0; x < side; ++x)
        {
            positions.insert(positions.end(), {float(x), float(y), std::sin(float(x)) * std::cos(float(y))});
            normals.insert(normals.end(), {0, 0, 1});
            uvs.insert(uvs.end(), {float(x) / float(side), float(y) / float(side)});
            const unsigned corner = y * side + x;
            if (x + 1 < side && y + 1 < side)
                indices.insert(indices.end(),
                               {corner, corner + 1, corner + side, corner + side, corner + 1, corner + side + 1});
        }
    }
    GltfMaker maker;
    const Json attributes = {{"POSITION", maker.AddFloats(positions, 3)},
                             {"NORMAL", maker.AddFloats(normals, 3)},
                             {"TEXCOORD_0", maker.AddFloats(uvs, 2)}};
    maker.ShowPrimitive({{"attributes", attributes}, {"indices", maker.AddIndices(indices)}});
    return maker;
}

void Write(const std::string& path, const std::string& bytes)
{
    std::ofstream file(path, std::ios::binary);
    file.write(bytes.data(), std::streamsize(bytes.size()));
    if (!file.flush())
        throw std::runtime_error(path + " can't be written");
}

void LoadOurs(const std::string& path)
{
    const std::shared_ptr<Model> model = LoadFromFile(path);
    if (!model || !model->GetRootNode())
        throw std::runtime_error(path + " can't be loaded");
}

void LoadWithTinyGltf(const std::string& path)
{
    tinygltf::TinyGLTF loader;
    tinygltf::Model model;
    std::string error;
    std::string warning;
    if (!(path.ends_with(".gltf") ? loader.LoadASCIIFromFile(&model, &error, &warning, path)
                                  : loader.LoadBinaryFromFile(&model, &error, &warning, path)))
        throw std::runtime_error(error);
}

} // namespace

void CompareModelLoading(const Effort& effort, std::string_view filter)
{
    const std::string names[] = {"Load 3D Model, .glb / tinygltf alone", "Load 3D Model, .gltf / tinygltf alone",
                                 "Load 3D Model, .glb / reading the file"};
    if (std::ranges::none_of(names, [&](const std::string& name) { return name.find(filter) != std::string::npos; }))
        return;

    // Some 100 MB.
    GltfMaker maker = MakeGrid(2 * effort.vertices);
    const TemporaryFolder folder;
    const std::string binary = folder / "model.glb";
    const std::string text = folder / "model.gltf";
    Write(binary, maker.ToBinary());
    Write(text, maker.ToText("model.bin"));
    Write(folder / "model.bin", maker.buffer);
    std::vector<char> bytes(std::filesystem::file_size(binary));

    Effort fewer = effort;
    fewer.rounds = (effort.rounds + 3) / 4;
    const auto compare = [&](const std::string& name, const std::string& path, const std::function<void()>& bare)
    {
        if (name.find(filter) != std::string::npos)
            Compare(
                name, fewer, Measured::WholePass, [&] { LoadOurs(path); }, bare);
    };
    compare(names[0], binary, [&] { LoadWithTinyGltf(binary); });
    compare(names[1], text, [&] { LoadWithTinyGltf(text); });
    compare(names[2], binary,
            [&] { std::ifstream(binary, std::ios::binary).read(bytes.data(), std::streamsize(bytes.size())); });
}

} // namespace Varkle::Bench
