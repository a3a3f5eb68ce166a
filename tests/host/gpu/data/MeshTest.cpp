#include "Varkle/Gpu/Mesh.h"

#include "Varkle/Core/Log.h"
#include "Varkle/Gpu/Graphics.h"
#include "Varkle/Gpu/Material.h"
#include "support/Catch.h"

#include <limits>
#include <string>
#include <vector>

using namespace Varkle;

namespace
{

std::vector<std::string> NamesOf(const Mesh& mesh)
{
    std::vector<std::string> names;
    for (const Attribute& attribute : mesh.GetAttributes())
        names.push_back(attribute.GetName());
    return names;
}

constexpr wgpu::BufferUsage DataUsages =
    wgpu::BufferUsage::Storage | wgpu::BufferUsage::CopySrc | wgpu::BufferUsage::CopyDst;

} // namespace

TEST_CASE("A vertex format knows its size, its components and its name")
{
    using enum wgpu::VertexFormat;
    CHECK(GetVertexFormatSize(Float32x3) == 12);
    CHECK(GetVertexFormatComponents(Float32x3) == 3);
    CHECK(GetVertexFormatName(Float32x3) == "Float32x3");

    CHECK(GetVertexFormatSize(Sint16x2) == 4);
    CHECK(GetVertexFormatComponents(Sint16x2) == 2);
    CHECK(GetVertexFormatName(Sint16x2) == "Sint16x2");

    CHECK(GetVertexFormatSize(Unorm10_10_10_2) == 4);
    CHECK(GetVertexFormatComponents(Unorm10_10_10_2) == 4);
    CHECK(GetVertexFormatName(Unorm10_10_10_2) == "Unorm10_10_10_2");
}

TEST_CASE("A number that is no vertex format has no size and no components")
{
    constexpr auto none = wgpu::VertexFormat(0x7fff);
    CHECK(GetVertexFormatSize(none) == 0);
    CHECK(GetVertexFormatComponents(none) == 0);
    CHECK(GetVertexFormatName(none) == "Unknown");
}

TEST_CASE("A topology has the name of WebGPU's C++ header")
{
    CHECK(GetTopologyName(wgpu::PrimitiveTopology::PointList) == "PointList");
    CHECK(GetTopologyName(wgpu::PrimitiveTopology::LineList) == "LineList");
    CHECK(GetTopologyName(wgpu::PrimitiveTopology::LineStrip) == "LineStrip");
    CHECK(GetTopologyName(wgpu::PrimitiveTopology::TriangleList) == "TriangleList");
    CHECK(GetTopologyName(wgpu::PrimitiveTopology::TriangleStrip) == "TriangleStrip");
}

TEST_CASE("The known attributes have their names and formats")
{
    CHECK(Attributes::Position.name == "Position");
    CHECK(Attributes::Position.format == wgpu::VertexFormat::Float32x3);
    CHECK(Attributes::Normal.name == "Normal");
    CHECK(Attributes::Normal.format == wgpu::VertexFormat::Float32x3);
    CHECK(Attributes::Tangent.name == "Tangent");
    CHECK(Attributes::Tangent.format == wgpu::VertexFormat::Float32x4);
    CHECK(Attributes::TexCoord0.name == "TexCoord0");
    CHECK(Attributes::TexCoord0.format == wgpu::VertexFormat::Float32x2);
    CHECK(Attributes::TexCoord1.name == "TexCoord1");
    CHECK(Attributes::TexCoord1.format == wgpu::VertexFormat::Float32x2);
    CHECK(Attributes::Color0.name == "Color0");
    CHECK(Attributes::Color0.format == wgpu::VertexFormat::Float32x4);
}

TEST_CASE("An attribute's buffer holds its vertices without gaps")
{
    const Attribute position(Attributes::Position, 3);
    CHECK(position.GetName() == "Position");
    CHECK(position.GetFormat() == wgpu::VertexFormat::Float32x3);
    CHECK(position.GetVertexCount() == 3);
    CHECK(position.GetBuffer().GetSizeInBytes() == 36);

    const Attribute weight("Weight", wgpu::VertexFormat::Float32, 5);
    CHECK(weight.GetName() == "Weight");
    CHECK(weight.GetBuffer().GetSizeInBytes() == 20);
}

TEST_CASE("The buffers of a mesh can be drawn, computed with and copied")
{
    const Attribute weight("Weight", wgpu::VertexFormat::Float32, 5);
    CHECK(weight.GetBuffer().GetBufferHandle().GetUsage() == (DataUsages | wgpu::BufferUsage::Vertex));

    const Connectivity triangle(wgpu::PrimitiveTopology::TriangleList, 3, wgpu::IndexFormat::Uint32);
    CHECK(triangle.GetBuffer().GetBufferHandle().GetUsage() == (DataUsages | wgpu::BufferUsage::Index));
}

TEST_CASE("An attribute without vertices has a buffer with room for one")
{
    const Attribute color(Attributes::Color0, 0);
    CHECK(color.GetVertexCount() == 0);
    CHECK(color.GetBuffer().GetSizeInBytes() == 16);
}

TEST_CASE("An attribute that no GPU buffer can hold has an empty one and says so")
{
    constexpr unsigned count = std::numeric_limits<unsigned>::max();
    REQUIRE(Graphics::GetDevice());
    REQUIRE(Graphics::GetLimits().maxBufferSize < 68719476720); // 16 bytes times 4294967295

    std::vector<std::string> errors;
    const LogListener listener(
        [&](const LogLine& line)
        {
            if (line.level == LogLevel::Error)
                errors.push_back(line.text);
        });
    const Attribute color(Attributes::Color0, count);
    CHECK_FALSE(color.GetBuffer());
    CHECK(color.GetVertexCount() == count);
    REQUIRE(errors.size() == 1);
    CHECK(errors[0] ==
          "The attribute \"Color0\" needs 68719476720 bytes for 4294967295 elements; the largest buffer of "
          "this GPU has " +
              std::to_string(Graphics::GetLimits().maxBufferSize) + ".");
}

TEST_CASE("Copies of an attribute share its buffer")
{
    const Attribute position(Attributes::Position, 3);
    Attribute copy;
    copy = position;
    CHECK(copy.GetBuffer() == position.GetBuffer());
    CHECK_FALSE(Attribute(Attributes::Position, 3).GetBuffer() == position.GetBuffer());
}

TEST_CASE("A connectivity's buffer holds its indices, and room for one at least")
{
    const Connectivity strip(wgpu::PrimitiveTopology::TriangleStrip, 7, wgpu::IndexFormat::Uint32);
    CHECK(strip.GetTopology() == wgpu::PrimitiveTopology::TriangleStrip);
    CHECK(strip.GetIndexCount() == 7);
    CHECK(strip.GetIndexFormat() == wgpu::IndexFormat::Uint32);
    CHECK(strip.GetBuffer().GetSizeInBytes() == 28);

    const Connectivity small(wgpu::PrimitiveTopology::LineList, 3, wgpu::IndexFormat::Uint16);
    CHECK(small.GetBuffer().GetSizeInBytes() == 6);

    const Connectivity none(wgpu::PrimitiveTopology::PointList, 0, wgpu::IndexFormat::Uint32);
    CHECK(none.GetIndexCount() == 0);
    CHECK(none.GetBuffer().GetSizeInBytes() == 4);
}

TEST_CASE("An empty mesh has nothing")
{
    const Mesh mesh;
    CHECK(mesh.GetAttributes().empty());
    CHECK(mesh.GetAttribute("Position") == nullptr);
    CHECK(mesh.GetConnectivity() == nullptr);
    CHECK(mesh.GetMaterial() == nullptr);
}

TEST_CASE("A mesh keeps attributes in the order in which they were added")
{
    const Mesh mesh = Mesh()
                          .AddAttribute({Attributes::TexCoord0, 4})
                          .AddAttribute({Attributes::Position, 4})
                          .AddAttribute({"Weight", wgpu::VertexFormat::Float32, 4});
    CHECK(NamesOf(mesh) == std::vector<std::string>{"TexCoord0", "Position", "Weight"});
    REQUIRE(mesh.GetAttribute("Position") != nullptr);
    CHECK(mesh.GetAttribute("Position") == &mesh.GetAttributes()[1]);
    CHECK(mesh.GetAttribute("position") == nullptr);
}

TEST_CASE("An attribute of a name that exists takes the old one's place")
{
    const Mesh mesh = Mesh()
                          .AddAttribute({Attributes::Position, 4})
                          .AddAttribute({Attributes::Normal, 4})
                          .AddAttribute({Attributes::Color0, 4});
    const Mesh changed = mesh.AddAttribute({"Normal", wgpu::VertexFormat::Float32x2, 9});
    CHECK(NamesOf(changed) == std::vector<std::string>{"Position", "Normal", "Color0"});
    CHECK(changed.GetAttribute("Normal")->GetFormat() == wgpu::VertexFormat::Float32x2);
    CHECK(changed.GetAttribute("Normal")->GetVertexCount() == 9);
    CHECK(mesh.GetAttribute("Normal")->GetVertexCount() == 4);
}

TEST_CASE("What is added to a mesh leaves the mesh itself as it was and shares its buffers")
{
    const Mesh mesh = Mesh().AddAttribute({Attributes::Position, 3});
    const auto material = std::make_shared<UnlitMaterial>();
    const Mesh changed = mesh.AddAttribute({Attributes::Normal, 3})
                             .SetConnectivity({wgpu::PrimitiveTopology::TriangleList, 3, wgpu::IndexFormat::Uint32})
                             .SetMaterial(material);

    CHECK(NamesOf(mesh) == std::vector<std::string>{"Position"});
    CHECK(mesh.GetConnectivity() == nullptr);
    CHECK(mesh.GetMaterial() == nullptr);

    CHECK(NamesOf(changed) == std::vector<std::string>{"Position", "Normal"});
    REQUIRE(changed.GetConnectivity() != nullptr);
    CHECK(changed.GetConnectivity()->GetIndexCount() == 3);
    CHECK(changed.GetMaterial() == material);
    CHECK(changed.GetAttribute("Position")->GetBuffer() == mesh.GetAttribute("Position")->GetBuffer());
}

TEST_CASE("A mesh's connectivity and material can be replaced, and the material taken away")
{
    const Mesh mesh = Mesh()
                          .SetConnectivity({wgpu::PrimitiveTopology::LineList, 2, wgpu::IndexFormat::Uint32})
                          .SetMaterial(std::make_shared<UnlitMaterial>());
    const auto material = std::make_shared<GltfPbrMaterial>();
    const Mesh changed =
        mesh.SetConnectivity({wgpu::PrimitiveTopology::PointList, 1, wgpu::IndexFormat::Uint32}).SetMaterial(material);
    CHECK(changed.GetConnectivity()->GetTopology() == wgpu::PrimitiveTopology::PointList);
    CHECK(changed.GetMaterial() == material);
    CHECK(changed.SetMaterial(nullptr).GetMaterial() == nullptr);
    CHECK(changed.SetMaterial(nullptr).GetConnectivity() != nullptr);
}
