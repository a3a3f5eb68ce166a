#include "Varkle/Gpu/Graphics.h"
#include "gpu/glb/GlbReading.h"

#include <limits>

// Meshes as .glb files. Materials and models have tests of their own.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();
constexpr float infinite = std::numeric_limits<float>::infinity();

using Vectors2 = std::vector<glm::vec2>;
using Vectors3 = std::vector<glm::vec3>;
using Vectors4 = std::vector<glm::vec4>;
using Indices16 = std::vector<std::uint16_t>;
using Indices32 = std::vector<std::uint32_t>;
using Floats = std::vector<float>;
using Topology = wgpu::PrimitiveTopology;

const Vectors3 corners{{-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}}; // of BareQuad

Mesh Points(const Vectors3& positions)
{
    return With(Mesh(), Attributes::Position, positions);
}

/// The first positions of a spiral.
Vectors3 Spiral(unsigned count)
{
    Vectors3 positions;
    for (unsigned i = 0; i < count; ++i)
        positions.emplace_back(float(i) * std::cos(float(i)), float(i) * std::sin(float(i)), float(i) / 4.0f);
    return positions;
}

struct Case
{
    Mesh mesh;
    std::string warning;
};

std::vector<Mesh> MeshesOf(const std::vector<Case>& cases)
{
    std::vector<Mesh> meshes;
    for (const Case& c : cases)
        meshes.push_back(c.mesh);
    return meshes;
}

} // namespace

TEST_CASE("A mesh becomes a file with one node, one mesh and one primitive")
{
    const GlbContent file = Write(BareQuad());
    CHECK(file.json["asset"] == Json{{"version", "2.0"}, {"generator", "Varkle"}});
    CHECK(file.json["scene"] == 0);
    CHECK(file.json["scenes"] == Json::parse(R"([{"nodes": [0]}])"));
    CHECK(file.json["nodes"] == Json::parse(R"([{"mesh": 0}])"));
    REQUIRE(file.Count("meshes") == 1);
    REQUIRE(file.json["meshes"][0]["primitives"].size() == 1);
    CHECK(file.Primitive()["mode"] == 4);
    CHECK_FALSE(file.Primitive().contains("material"));
    CHECK(file.Primitive()["attributes"].size() == 1);

    const Json& positions = file.Accessor("POSITION");
    CHECK(positions["type"] == "VEC3");
    CHECK(positions["componentType"] == 5126);
    CHECK(positions["count"] == 4);
    CHECK(positions["min"] == Json({-1, -1, 0}));
    CHECK(positions["max"] == Json({1, 1, 0}));
    CHECK(file.Values("POSITION") == Flat(corners));
    CHECK(file.Indices() == quadIndices);
    const Json& indices = file.json["accessors"][file.Primitive()["indices"].get<std::size_t>()];
    CHECK(indices["type"] == "SCALAR");
    CHECK(indices["componentType"] == 5125);
    CHECK(indices["count"] == 6);
    CHECK(file.json["bufferViews"][positions["bufferView"].get<std::size_t>()]["target"] == 34962);
    CHECK(file.json["bufferViews"][indices["bufferView"].get<std::size_t>()]["target"] == 34963);
    CHECK(file.log == nothing);
}

TEST_CASE("The bounds of positions are exact")
{
    const Vectors3 positions{{0.1f, 3e38f, -1e-40f}, {-0.3f, 7.0f, 1e-45f}, {1.0f / 3.0f, -3e38f, 0.0f}};
    const Json accessor = Write(Points(positions)).Accessor("POSITION");
    CHECK(accessor["min"].get<Floats>() == Floats{-0.3f, -3e38f, -1e-40f});
    CHECK(accessor["max"].get<Floats>() == Floats{1.0f / 3.0f, 3e38f, 1e-45f});
}

TEST_CASE("The known attributes get their names in glTF and keep their values")
{
    const Vectors3 normals{{0, 0, 1}, {0, 1, 0}, {0.6f, 0, 0.8f}, {-1, 0, 0}};
    const Vectors4 tangents{{1, 0, 0, 1}, {0, 0, 1, -1}, {0.8f, 0, -0.6f, 1}, {0, 1, 0, -1}};
    const Vectors2 texCoords{{0, 1}, {1, 1}, {-7.5f, 1e6f}, {0.25f, 0}};
    const Vectors2 otherTexCoords{{1, 2}, {3, 4}, {5, 6}, {7, 8}};
    const Vectors4 colors{{0, 0.1f, 0.5f, 1}, {1, 1, 1, 0}, {0, 0, 0, 0}, {0.3f, 0.6f, 0.9f, 0.75f}};
    Mesh mesh = With(Mesh(), Attributes::Color0, colors);
    mesh = With(mesh, Attributes::TexCoord1, otherTexCoords);
    mesh = With(mesh, Attributes::Tangent, tangents);
    mesh = With(mesh, Attributes::TexCoord0, texCoords);
    mesh = With(mesh, Attributes::Normal, normals);
    mesh = Indexed(With(mesh, Attributes::Position, corners), quadIndices);

    const GlbContent file = Write(mesh);
    CHECK(file.Primitive()["attributes"].size() == 6);
    CHECK(file.Values("POSITION") == Flat(corners));
    CHECK(file.Values("NORMAL") == Flat(normals));
    CHECK(file.Values("TANGENT") == Flat(tangents));
    CHECK(file.Values("TEXCOORD_0") == Flat(texCoords));
    CHECK(file.Values("TEXCOORD_1") == Flat(otherTexCoords));
    CHECK(file.Values("COLOR_0") == Flat(colors));
    for (const char* const name : {"POSITION", "NORMAL"})
        CHECK(file.Accessor(name)["type"] == "VEC3");
    for (const char* const name : {"TANGENT", "COLOR_0"})
        CHECK(file.Accessor(name)["type"] == "VEC4");
    for (const char* const name : {"TEXCOORD_0", "TEXCOORD_1"})
        CHECK(file.Accessor(name)["type"] == "VEC2");
    for (const Json& accessor : file.json["accessors"])
        CHECK(accessor["count"] == (accessor["type"] == "SCALAR" ? 6 : 4));
    CHECK(file.log == nothing);
}

TEST_CASE("Other attributes of floats become custom attributes with as many components")
{
    Mesh mesh = With(BareQuad(), "Weight", wgpu::VertexFormat::Float32, Floats{1, -2, 3e30f, 0});
    mesh = With(mesh, "two words", wgpu::VertexFormat::Float32x2, Floats{1, 2, 3, 4, 5, 6, 7, 8});
    mesh = With(mesh,
                "Gr\xC3\xB6\xC3\x9F"
                "e \"1\"",
                wgpu::VertexFormat::Float32x3, corners);
    mesh = With(mesh, "", wgpu::VertexFormat::Float32x4, Vectors4(4, glm::vec4(-5)));
    mesh = With(mesh, "TexCoord0", wgpu::VertexFormat::Float32x3, corners); // known only with two components
    const GlbContent file = Write(mesh);
    CHECK(file.Primitive()["attributes"].size() == 6);
    CHECK(file.Accessor("_Weight")["type"] == "SCALAR");
    CHECK(file.Values("_Weight") == Floats{1, -2, 3e30f, 0});
    CHECK(file.Accessor("_two words")["type"] == "VEC2");
    CHECK(file.Values("_two words") == Floats{1, 2, 3, 4, 5, 6, 7, 8});
    CHECK(file.Values("_Gr\xC3\xB6\xC3\x9F"
                      "e \"1\"") == Flat(corners));
    CHECK(file.Accessor("_")["type"] == "VEC4");
    CHECK(file.Values("_") == Floats(16, -5));
    CHECK(file.Values("_TexCoord0") == Flat(corners));
    CHECK(file.log == nothing);
}

TEST_CASE("Indices of 16 bits become 32-bit ones")
{
    const GlbContent file = Write(Indexed(Points(corners), Indices16{3, 0, 2}));
    CHECK(file.Indices() == Indices32{3, 0, 2});
    CHECK(file.log == nothing);
}

TEST_CASE("The topology is the mode of the primitive")
{
    const std::pair<Topology, int> modes[] = {{Topology::PointList, 0},
                                              {Topology::LineList, 1},
                                              {Topology::LineStrip, 3},
                                              {Topology::TriangleList, 4},
                                              {Topology::TriangleStrip, 5}};
    std::vector<Mesh> meshes;
    for (const auto& [topology, mode] : modes)
        meshes.push_back(Indexed(Points(corners), quadIndices, topology));
    const std::vector<GlbContent> files = WriteAll(meshes);
    for (std::size_t i = 0; i < files.size(); ++i)
    {
        INFO(GetTopologyName(modes[i].first));
        CHECK(files[i].Primitive()["mode"] == modes[i].second);
        CHECK(files[i].Indices() == quadIndices);
        CHECK(files[i].log == nothing);
    }
}

TEST_CASE("Vertices without indices stay so")
{
    const GlbContent file = Write(Points(Spiral(6)));
    CHECK(file.Primitive()["mode"] == 4);
    CHECK_FALSE(file.Primitive().contains("indices"));
    CHECK(file.Values("POSITION") == Flat(Spiral(6)));
    CHECK(file.log == nothing);
}

TEST_CASE("Vertices that end in an incomplete triangle stay, with indices of the complete ones")
{
    const GlbContent file = Write(Points(Spiral(8)));
    CHECK(file.Values("POSITION") == Flat(Spiral(8)));
    CHECK(file.Indices() == Indices32{0, 1, 2, 3, 4, 5});
    CHECK(file.log == Lines{"warning: In the .glb a mesh gets indices: its 8 vertices end in an incomplete triangle."});
}

TEST_CASE("Indices of an incomplete line or triangle are left out")
{
    const std::vector<GlbContent> files =
        WriteAll(std::vector{Indexed(Points(corners), Indices32{0, 1, 2, 2, 1, 3, 0, 1}),
                             Indexed(Points(corners), Indices16{0, 1, 2, 2, 1, 3, 3}),
                             Indexed(Points(corners), Indices32{0, 3, 1}, Topology::LineList)});
    CHECK(files[0].Indices() == Indices32{0, 1, 2, 2, 1, 3});
    CHECK(files[1].Indices() == Indices32{0, 1, 2, 2, 1, 3});
    CHECK(files[2].Indices() == Indices32{0, 3});
    const std::string counts[] = {"8", "7", "3"};
    for (std::size_t i = 0; i < files.size(); ++i)
        CHECK(files[i].log == Lines{"warning: In the .glb the last of a mesh's indices are left out: " + counts[i] +
                                    " end in an incomplete line or triangle."});
}

TEST_CASE("A mesh that glTF can't hold is left out, with one warning that says why")
{
    const auto position = [](glm::vec3 odd)
    {
        Vectors3 positions = corners;
        positions[2] = odd;
        return Indexed(With(Points(positions), "Weight", wgpu::VertexFormat::Float32, Floats(4, notANumber)),
                       quadIndices);
    };
    const std::string notFinite = "the attribute \"Position\", and with it a mesh, is left out: at vertex 2 it is not "
                                  "finite.";
    const std::string noPositions = "a mesh is left out: it has no positions of three floats.";
    const std::vector<Case> cases = {
        {Mesh(), noPositions},
        {With(Mesh(), Attributes::Normal, corners), noPositions},
        {With(Mesh(), "Position", wgpu::VertexFormat::Float32x4, Vectors4(3)), noPositions},
        {Points({}), noPositions},
        {position({notANumber, 0, 0}), notFinite},
        {position({0, infinite, 0}), notFinite},
        {position({0, 0, -infinite}), notFinite},
        {Points(Spiral(2)), "a mesh is left out: its 2 vertices draw nothing."},
        {Indexed(Points(corners), Indices32{}), "a mesh is left out: its 0 indices draw nothing."},
        {Indexed(Points(corners), Indices32{0, 1}), "a mesh is left out: its 2 indices draw nothing."},
        {Indexed(Points(corners), Indices16{0}, Topology::LineList), "a mesh is left out: its 1 indices draw nothing."},
        {Indexed(Points(corners), Indices32{0}, Topology::LineStrip),
         "a mesh is left out: its 1 indices draw nothing."},
        {Indexed(Points(corners), Indices32{2, 1}, Topology::TriangleStrip),
         "a mesh is left out: its 2 indices draw nothing."},
        {Indexed(Points(corners), Indices32{}, Topology::PointList), "a mesh is left out: its 0 indices draw nothing."},
        {Indexed(Points(corners), Indices32{0, 1, 4}),
         "a mesh is left out: index 2 is 4, but the mesh has 4 vertices."},
        {Indexed(Points(corners), Indices16{0, 0xFFFF, 1}),
         "a mesh is left out: index 1 is 65535, but the mesh has 4 vertices."},
        // What starts a new strip elsewhere is not allowed in glTF.
        {Indexed(Points(corners), Indices32{0, 1, 2, 0xFFFFFFFF, 1, 2, 3}, Topology::TriangleStrip),
         "a mesh is left out: index 3 is 4294967295, but the mesh has 4 vertices."},
    };
    const std::vector<GlbContent> files = WriteAll(MeshesOf(cases));
    for (std::size_t i = 0; i < files.size(); ++i)
    {
        CHECK(files[i].log == Lines{"warning: In the .glb " + cases[i].warning});
        CHECK(files[i].json["nodes"] == Json::parse("[{}]"));
        CHECK(files[i].Count("meshes") == 0);
        CHECK(files[i].Count("accessors") == 0);
        CHECK(files[i].binary.empty());
    }
}

TEST_CASE("Only indices that are drawn must point at a vertex")
{
    const GlbContent file = Write(Indexed(Points(corners), Indices32{0, 1, 2, 77}));
    CHECK(file.Indices() == Indices32{0, 1, 2});
    CHECK(file.log.size() == 1);
}

TEST_CASE("An attribute that glTF can't hold is left out, with one warning that says why")
{
    using wgpu::VertexFormat;
    const Mesh quad = With(BareQuad(), Attributes::Normal, Vectors3(4, {0, 0, 1}));
    const auto weight = [&](float odd) { return With(quad, "Weight", VertexFormat::Float32, Floats{1, odd, 2, 3}); };
    const auto color = [&](float odd) {
        return With(quad, Attributes::Color0, Vectors4{{1, 1, 1, 1}, {0, 0, 0, 1}, {1, 0, odd, 1}, {1, 1, 1, odd}});
    };
    const auto normal = [&](glm::vec3 odd) {
        return With(quad, Attributes::Normal, Vectors3{{0, 0, 1}, {0, 0, 1}, {0, 0, 1}, odd});
    };
    const auto tangent = [&](glm::vec4 odd) {
        return With(quad, Attributes::Tangent, Vectors4{odd, {1, 0, 0, 1}, {1, 0, 0, 1}, {1, 0, 0, 1}});
    };
    const std::string hand = "\"Tangent\" is left out: at vertex 0 it has a handedness (w) other than 1 and -1.";
    const std::vector<Case> cases = {
        {weight(notANumber), "\"Weight\" is left out: at vertex 1 it is not finite."},
        {weight(infinite), "\"Weight\" is left out: at vertex 1 it is not finite."},
        {With(quad, Attributes::TexCoord0, Vectors2{{0, 0}, {0, 0}, {0, 0}, {0, -infinite}}),
         "\"TexCoord0\" is left out: at vertex 3 it is not finite."},
        {normal({0, 0, 0}), "\"Normal\" is left out: at vertex 3 it has no direction."},
        {normal({0, notANumber, 1}), "\"Normal\" is left out: at vertex 3 it is not finite."},
        {tangent({0, 0, 0, 1}), "\"Tangent\" is left out: at vertex 0 it has no direction."},
        {tangent({1, 0, 0, 0}), hand},
        {tangent({1, 0, 0, 0.5f}), hand},
        {tangent({1, 0, 0, -2}), hand},
        {color(1.001f), "\"Color0\" is left out: at vertex 2 it lies outside 0 to 1."},
        {color(-0.5f), "\"Color0\" is left out: at vertex 2 it lies outside 0 to 1."},
        {With(quad, Attributes::TexCoord0, Vectors2(3)), "\"TexCoord0\" is left out: it has 3 values for 4 positions."},
        {With(quad, "Weight", VertexFormat::Float32, Floats{}),
         "\"Weight\" is left out: it has 0 values for 4 positions."},
        {With(quad, "Id", VertexFormat::Uint32, Indices32{1, 2, 3, 4}),
         "\"Id\" is left out: its format is Uint32, not 32-bit floats."},
        {With(quad, "Color0", VertexFormat::Unorm8x4, Indices32(4)),
         "\"Color0\" is left out: its format is Unorm8x4, not 32-bit floats."},
        {With(quad, "Weight", VertexFormat::Float16x2, Indices32(4)),
         "\"Weight\" is left out: its format is Float16x2, not 32-bit floats."},
        {With(quad, Attributes::TexCoord1, Vectors2(4)),
         "\"TexCoord1\" is left out: glTF has no TEXCOORD_1 without TEXCOORD_0."},
    };
    const std::vector<GlbContent> files = WriteAll(MeshesOf(cases));
    for (std::size_t i = 0; i < files.size(); ++i)
    {
        CHECK(files[i].log == Lines{"warning: In the .glb the attribute " + cases[i].warning});
        CHECK(files[i].Values("POSITION") == Flat(corners));
        CHECK(files[i].Indices() == quadIndices);
        CHECK(files[i].Has("NORMAL") == (cases[i].warning.find("Normal") == std::string::npos));
        CHECK(files[i].Primitive()["attributes"].size() == (files[i].Has("NORMAL") ? 2 : 1));
        CHECK(files[i].Count("accessors") == files[i].Primitive()["attributes"].size() + 1);
    }
}

TEST_CASE("Tangents need normals")
{
    const Mesh bare = With(BareQuad(), Attributes::Tangent, Vectors4(4, {1, 0, 0, 1}));
    const std::string warning =
        "warning: In the .glb the attribute \"Tangent\" is left out: glTF has no TANGENT without NORMAL.";
    const std::vector<GlbContent> files = WriteAll(std::vector{
        bare,
        With(bare, Attributes::Normal, Vectors3(4, {0, 0, 0})), // left out themselves
        With(bare, Attributes::Normal, Vectors3(4, {0, 0, 1})),
    });
    CHECK_FALSE(files[0].Has("TANGENT"));
    CHECK(files[0].log == Lines{warning});
    CHECK_FALSE(files[1].Has("TANGENT"));
    CHECK(
        files[1].log ==
        Lines{"warning: In the .glb the attribute \"Normal\" is left out: at vertex 0 it has no direction.", warning});
    CHECK(files[2].Has("TANGENT"));
    CHECK(files[2].log == nothing);
}

TEST_CASE("An attribute with more values than there are positions ends with these")
{
    const Vectors2 texCoords{{0, 1}, {2, 3}, {4, 5}, {6, 7}, {8, 9}, {notANumber, 0}};
    const GlbContent file = Write(With(BareQuad(), Attributes::TexCoord0, texCoords));
    CHECK(file.Accessor("TEXCOORD_0")["count"] == 4);
    CHECK(file.Values("TEXCOORD_0") == Floats{0, 1, 2, 3, 4, 5, 6, 7});
    CHECK(file.log == Lines{"warning: In the .glb the attribute \"TexCoord0\" ends with the positions: it has 6 values "
                            "for 4 of them."});
}

TEST_CASE("Normals and tangents become unit vectors")
{
    const Vectors3 normals{{0, 0, 1},
                           {0, std::ldexp(3.0f, 100), std::ldexp(4.0f, 100)},
                           {-std::ldexp(6.0f, -100), 0, std::ldexp(8.0f, -100)},
                           {0, 1e-45f, 0}};
    const Vectors4 tangents{{0, 0.998f, 0, -1}, {1, 0, 0, 1}, {0, 0, 5, 1}, {12, 0, 16, -1}};
    const GlbContent file = Write(With(With(BareQuad(), Attributes::Normal, normals), Attributes::Tangent, tangents));
    CHECK(file.Values("NORMAL") == Floats{0, 0, 1, 0, 0.6f, 0.8f, -0.6f, 0, 0.8f, 0, 1, 0});
    CHECK(file.Values("TANGENT") == Floats{0, 1, 0, -1, 1, 0, 0, 1, 0, 0, 1, 1, 0.6f, 0, 0.8f, -1});
    CHECK(file.log ==
          Lines{"warning: In the .glb the attribute \"Normal\" becomes unit vectors: at vertex 1 it is none.",
                "warning: In the .glb the attribute \"Tangent\" becomes unit vectors: at vertex 0 it is none."});
}

TEST_CASE("Normals whose length is 1 but for rounding stay as they are")
{
    const Vectors3 normals{{0, 0, 1.0004f}, {0.5774f, 0.5774f, 0.5774f}, {0, 0.9996f, 0}, {-1, 0, 1e-10f}};
    const GlbContent file = Write(With(BareQuad(), Attributes::Normal, normals));
    CHECK(file.Values("NORMAL") == Flat(normals));
    CHECK(file.log == nothing);
}

TEST_CASE("Of two attributes whose names are the same in glTF the second is left out")
{
    Mesh mesh = With(BareQuad(), "A\xFF", wgpu::VertexFormat::Float32, Floats{1, 2, 3, 4}); // no UTF-8
    mesh = With(mesh, "A\xFE", wgpu::VertexFormat::Float32, Floats{5, 6, 7, 8});
    const GlbContent file = Write(mesh);
    CHECK(file.Values("_A\xEF\xBF\xBD") == Floats{1, 2, 3, 4}); // U+FFFD, the replacement character
    CHECK(file.Primitive()["attributes"].size() == 2);
    CHECK(file.log == Lines{"warning: In the .glb an attribute is left out: another one is named \"_A\xEF\xBF\xBD\", "
                            "too."});
}

TEST_CASE("Attributes and indices for which the GPU had no room are left out")
{
    constexpr unsigned tooMany = 4'000'000'000;
    const Attribute attribute("Weight", wgpu::VertexFormat::Float32x4, tooMany);
    const Connectivity connectivity(Topology::TriangleList, tooMany, wgpu::IndexFormat::Uint32);
    REQUIRE_FALSE(attribute.GetBuffer());
    REQUIRE_FALSE(connectivity.GetBuffer());
    const std::vector<GlbContent> files =
        WriteAll(std::vector{BareQuad().AddAttribute(attribute), BareQuad().SetConnectivity(connectivity)});
    CHECK_FALSE(files[0].Has("_Weight"));
    CHECK(files[0].log ==
          Lines{"warning: In the .glb the attribute \"Weight\" is left out: its buffer could not be made."});
    CHECK(files[1].Count("meshes") == 0);
    CHECK(files[1].log ==
          Lines{"warning: In the .glb a mesh is left out: the buffer of its indices could not be made."});
}

TEST_CASE("The same mesh gives the same bytes")
{
    const Mesh mesh = Quad();
    const auto first = EncodeGlb(mesh);
    const auto second = EncodeGlb(mesh);
    REQUIRE(first);
    REQUIRE(second);
    CHECK(*first == *second);
}

TEST_CASE("Writing meshes again and again creates nothing on the GPU")
{
    const Mesh mesh = Quad();
    REQUIRE(EncodeGlb(mesh));
    const GpuCounters before = Graphics::GetCounters();
    REQUIRE(EncodeGlb(mesh));
    const GpuCounters after = Graphics::GetCounters();
    CHECK(after.buffersCreated == before.buffersCreated);
    CHECK(after.errors == before.errors);
}

TEST_CASE("A mesh whose device is gone can't be written")
{
    const Mesh mesh = Quad();
    Graphics::Shutdown();
    const auto bytes = EncodeGlb(mesh);
    REQUIRE_FALSE(bytes);
    CHECK(bytes.GetError().message == "The vertices and textures could not be read back from the GPU.");
    CHECK(bytes.GetError().machine);
}

TEST_CASE("A .glb file is handed over in pieces that together are what is encoded")
{
    const Mesh mesh = BareQuad();
    const Result<std::vector<std::uint8_t>> whole = EncodeGlb(mesh);
    REQUIRE(whole);
    std::vector<std::uint8_t> together;
    int pieces = 0;
    const Status written = WriteGlb(mesh,
                                    [&](std::span<const std::uint8_t> bytes)
                                    {
                                        ++pieces;
                                        together.insert(together.end(), bytes.begin(), bytes.end());
                                        return Ok();
                                    });
    CHECK(written);
    CHECK(pieces > 2);
    CHECK(together == *whole);
    const TemporaryFolder folder;
    REQUIRE(WriteGlb(mesh, folder / "a.glb"));
    CHECK(ReadBytes(folder / "a.glb") == std::string(whole->begin(), whole->end()));
    CHECK(folder.Count() == 1);
}

TEST_CASE("Writing a .glb file ends with the error of whoever takes it, and leaves no file behind")
{
    int pieces = 0;
    const Status refused = WriteGlb(BareQuad(),
                                    [&](std::span<const std::uint8_t>) -> Status
                                    {
                                        ++pieces;
                                        return Error{"The disk is full.", true};
                                    });
    REQUIRE_FALSE(refused);
    CHECK(refused.GetError().message == "The disk is full.");
    CHECK(pieces == 1);
    const TemporaryFolder folder;
    const Status missing = WriteGlb(BareQuad(), folder / "no folder/a.glb");
    REQUIRE_FALSE(missing);
    CHECK(missing.GetError().message.find("no folder/a.glb") != std::string::npos);
    CHECK(folder.Count() == 0);
}
