#include "shader/SpirvReflection.h"

#include "support/Catch.h"
#include "support/TemporaryFolder.h"

#include <cstdlib>
#include <cstring>

using namespace Varkle;

namespace
{

using Words = std::vector<std::uint32_t>;

/// Compiles GLSL for Vulkan with glslang's program; `stage` is "vert", "frag" or "comp".
Words Compile(const std::string& stage, const std::string& source)
{
    const TemporaryFolder folder;
    const std::string input = folder / ("shader." + stage);
    const std::string output = folder / "shader.spv";
    WriteBytes(input, "#version 450\n" + source);
    const std::string command = "glslangValidator -V --quiet -o '" + output + "' '" + input + "'";
    REQUIRE(std::system(command.c_str()) == 0);
    const std::string bytes = ReadBytes(output);
    Words words(bytes.size() / 4);
    std::memcpy(words.data(), bytes.data(), words.size() * 4);
    return words;
}

ShaderReflection Reflect(const std::vector<Words>& modules)
{
    const Result<ShaderReflection> reflection = ReflectSpirv(modules);
    INFO((reflection ? "" : reflection.GetError().message));
    REQUIRE(reflection);
    return *reflection;
}

std::string ErrorOf(const std::vector<Words>& modules)
{
    const Result<ShaderReflection> reflection = ReflectSpirv(modules);
    return reflection ? "no error" : reflection.GetError().message;
}

const UniformMember& Member(const ShaderReflection& reflection, int binding, std::size_t index)
{
    const ShaderBinding* found = reflection.FindBinding(0, binding);
    REQUIRE(found);
    REQUIRE(index < found->layout.members.size());
    return found->layout.members[index];
}

const std::string vertexSource = R"(
layout(location = 1) in vec2 noisePositionIn;
layout(location = 0) in vec2 vertexPositionIn;
layout(location = 0) out vec3 noisePosition;
layout(set = 0, binding = 0) uniform VertexUniforms { mat4 noiseTransform; } vertexUniforms;
void main()
{
    noisePosition = (vertexUniforms.noiseTransform * vec4(noisePositionIn, 0, 1)).xyz;
    gl_Position = vec4(vertexPositionIn, 0, 1);
}
)";

const std::string fragmentSource = R"(
layout(location = 0) in vec3 noisePosition;
layout(location = 0) out vec4 color;
layout(set = 0, binding = 1) uniform FragmentUniforms
{
    float noiseRotation;
    float offset;
    float amplitude;
    vec3 repetition;
};
void main()
{
    color = vec4(noisePosition * repetition * noiseRotation * amplitude + offset, 1);
}
)";

} // namespace

TEST_CASE("A vertex and a fragment module become one reflection")
{
    const ShaderReflection reflection = Reflect({Compile("vert", vertexSource), Compile("frag", fragmentSource)});

    REQUIRE(reflection.entryPoints.size() == 2);
    CHECK(reflection.entryPoints[0].name == "main");
    CHECK(reflection.entryPoints[0].stage == ShaderStage::Vertex);
    CHECK(reflection.entryPoints[0].module == 0);
    CHECK(reflection.entryPoints[1].stage == ShaderStage::Fragment);
    CHECK(reflection.entryPoints[1].module == 1);
    CHECK(reflection.fragmentOutputs == 1);

    REQUIRE(reflection.vertexInputs.size() == 2); // no built-in values, sorted by location
    CHECK(reflection.vertexInputs[0].name == "vertexPositionIn");
    CHECK(reflection.vertexInputs[0].location == 0);
    CHECK(reflection.vertexInputs[0].components == 2);
    CHECK(reflection.vertexInputs[0].scalar == ScalarType::Float);
    CHECK(reflection.vertexInputs[1].name == "noisePositionIn");

    REQUIRE(reflection.bindings.size() == 2);
    CHECK(reflection.GroupCount() == 1);
    CHECK(reflection.bindings[0].name == "vertexUniforms");
    CHECK(reflection.bindings[0].stages == ShaderStage::Vertex);
    CHECK(reflection.bindings[1].name == "FragmentUniforms"); // the block's, since the variable has no name
    CHECK(reflection.bindings[1].stages == ShaderStage::Fragment);
    CHECK(reflection.FindBinding("FragmentUniforms") == reflection.FindBinding(0, 1));
}

TEST_CASE("A SPIR-V uniform block has its members' names, offsets and shapes")
{
    const ShaderReflection reflection = Reflect({Compile("vert", vertexSource), Compile("frag", fragmentSource)});

    const ShaderBinding& vertex = *reflection.FindBinding(0, 0);
    CHECK(vertex.kind == BindingKind::UniformBuffer);
    CHECK(vertex.minSize == 64);
    CHECK(vertex.layout.name == "vertexUniforms");
    const UniformMember& matrix = Member(reflection, 0, 0);
    CHECK(matrix.name == "noiseTransform");
    CHECK(matrix.columns == 4);
    CHECK(matrix.rows == 4);
    CHECK(matrix.columnStride == 16);
    CHECK(matrix.size == 64);

    CHECK(reflection.FindBinding(0, 1)->minSize == 32); // 28 bytes, rounded up to the vec3's alignment
    CHECK(Member(reflection, 1, 0).name == "noiseRotation");
    CHECK(Member(reflection, 1, 0).offset == 0);
    CHECK(Member(reflection, 1, 1).offset == 4);
    CHECK(Member(reflection, 1, 2).offset == 8);
    CHECK(Member(reflection, 1, 3).name == "repetition");
    CHECK(Member(reflection, 1, 3).offset == 16);
    CHECK(Member(reflection, 1, 3).rows == 3);
    CHECK(Member(reflection, 1, 3).size == 12);
}

TEST_CASE("SPIR-V arrays, nested structs and matrices have their strides")
{
    const ShaderReflection reflection = Reflect({Compile("frag", R"(
struct Light { vec3 color; float power; ivec2 cell; };
layout(set = 0, binding = 0) uniform Block
{
    float weights[3];  // stride 16, offset 0
    mat2 turn;         // columns of 16 bytes, offset 48
    Light lights[2];   // 32 bytes each, offset 80
    uint grid[2][5];   // offset 144: two of 5 * 16 bytes
    bool on;           // stored as a uint, offset 304
} block;
layout(location = 0) out vec4 color;
void main()
{
    color = vec4(block.weights[1] + block.turn[0].x + block.lights[1].power + float(block.grid[1][4]));
    if (block.on)
        color.x = 1.0;
}
)")});
    const UniformMember& weights = Member(reflection, 0, 0);
    CHECK(weights.arrayLength == 3);
    CHECK(weights.arrayStride == 16);
    CHECK(weights.size == 48);

    const UniformMember& turn = Member(reflection, 0, 1);
    CHECK(turn.offset == 48);
    CHECK(turn.columns == 2);
    CHECK(turn.rows == 2);
    CHECK(turn.columnStride == 16);

    const UniformMember& lights = Member(reflection, 0, 2);
    CHECK(lights.offset == 80);
    CHECK(lights.arrayLength == 2);
    CHECK(lights.arrayStride == 32);
    REQUIRE(lights.members.size() == 3);
    CHECK(lights.members[1].name == "power");
    CHECK(lights.members[1].offset == 12);
    CHECK(lights.members[2].offset == 16);
    CHECK(lights.members[2].scalar == ScalarType::Int);
    CHECK(lights.members[2].rows == 2);

    const UniformMember& grid = Member(reflection, 0, 3);
    CHECK(grid.name == "grid");
    CHECK(grid.offset == 144);
    CHECK(grid.size == 160);
    CHECK(grid.arrayLength == 2);
    CHECK(grid.arrayStride == 80);
    REQUIRE(grid.members.size() == 1);
    CHECK(grid.members[0].name.empty());
    CHECK(grid.members[0].arrayLength == 5);
    CHECK(grid.members[0].arrayStride == 16);
    CHECK(grid.members[0].scalar == ScalarType::UInt);

    CHECK(Member(reflection, 0, 4).offset == 304);
    CHECK(Member(reflection, 0, 4).scalar == ScalarType::UInt);
    CHECK(reflection.FindBinding(0, 0)->minSize == 320);
}

TEST_CASE("A SPIR-V binding that two modules declare has the stages of both")
{
    const std::string block = "layout(set = 1, binding = 2) uniform Shared { vec4 tint; } uniforms;\n";
    const ShaderReflection reflection =
        Reflect({Compile("vert", block + "void main() { gl_Position = uniforms.tint; }"),
                 Compile("frag", block + "layout(location = 0) out vec4 c; void main() { c = uniforms.tint; }")});
    REQUIRE(reflection.bindings.size() == 1);
    CHECK(reflection.bindings[0].stages == (ShaderStage::Vertex | ShaderStage::Fragment));
    CHECK(reflection.GroupCount() == 2);
}

TEST_CASE("SPIR-V modules that declare different things at one binding are an error")
{
    const Words vertex = Compile("vert", "layout(set = 0, binding = 0) uniform A { vec4 a; } one;\n"
                                         "void main() { gl_Position = one.a; }");
    const Words fragment = Compile("frag", "layout(set = 0, binding = 0) uniform B { vec2 b; } two;\n"
                                           "layout(location = 0) out vec4 c; void main() { c = two.b.xyxy; }");
    CHECK(ErrorOf({vertex, fragment}) == "SPIR-V module 2 of 2: The variables \"one\" and \"two\" both use group 0, "
                                         "binding 0, and differ in type.");
}

TEST_CASE("SPIR-V storage buffers tell what is written and count one element of a runtime array")
{
    const ShaderReflection reflection = Reflect({Compile("comp", R"(
layout(local_size_x = 64) in;
layout(std430, set = 0, binding = 0) readonly buffer In { uint count; vec4 values[]; } inputs;
layout(std430, set = 0, binding = 1) buffer Out { float results[]; } outputs;
void main() { outputs.results[gl_GlobalInvocationID.x] = inputs.values[gl_GlobalInvocationID.x].x + inputs.count; }
)")});
    REQUIRE(reflection.entryPoints.size() == 1);
    CHECK(reflection.entryPoints[0].stage == ShaderStage::Compute);
    REQUIRE(reflection.bindings.size() == 2);
    CHECK(reflection.bindings[0].kind == BindingKind::ReadOnlyStorageBuffer);
    CHECK(reflection.bindings[0].name == "inputs");
    CHECK(reflection.bindings[0].minSize == 32); // the count, 12 bytes of padding, one vec4
    CHECK(reflection.bindings[1].kind == BindingKind::StorageBuffer);
    CHECK(reflection.bindings[1].minSize == 4);
    CHECK(reflection.bindings[1].stages == ShaderStage::Compute);
}

TEST_CASE("What the vertex stage may write is not visible to it")
{
    const ShaderReflection reflection =
        Reflect({Compile("vert", "layout(std430, set = 0, binding = 0) buffer Data { vec4 v; } data;\n"
                                 "void main() { gl_Position = data.v; }")});
    REQUIRE(reflection.bindings.size() == 1);
    CHECK(reflection.bindings[0].stages == ShaderStage::None);
}

TEST_CASE("SPIR-V textures and samplers have their dimensions and kinds")
{
    const ShaderReflection reflection = Reflect({Compile("frag", R"(
#extension GL_EXT_samplerless_texture_functions : require
layout(set = 0, binding = 0) uniform texture2D plain;
layout(set = 0, binding = 1) uniform sampler smooth_;
layout(set = 0, binding = 2) uniform utexture2DArray counts;
layout(set = 0, binding = 3) uniform itexture3D cells;
layout(set = 0, binding = 4) uniform textureCube sky;
layout(set = 0, binding = 5) uniform texture2DMS samples;
layout(set = 0, binding = 6) uniform texture2D shadow;
layout(set = 0, binding = 7) uniform samplerShadow compare;
layout(location = 0) out vec4 color;
layout(location = 2) out vec4 more[2];
void main()
{
    color = texture(sampler2D(plain, smooth_), vec2(0)) + texelFetch(counts, ivec3(0), 0)
        + texelFetch(cells, ivec3(0), 0) + texture(samplerCube(sky, smooth_), vec3(1))
        + texelFetch(samples, ivec2(0), 0) + vec4(texture(sampler2DShadow(shadow, compare), vec3(0)));
    more[0] = color;
    more[1] = color;
}
)")});
    REQUIRE(reflection.bindings.size() == 8);
    const auto& b = reflection.bindings;
    CHECK(b[0].kind == BindingKind::Texture);
    CHECK(b[0].name == "plain");
    CHECK(b[0].textureDimension == TextureDimension::D2);
    CHECK(b[0].sampleKind == TextureSampleKind::Float);
    CHECK(b[1].kind == BindingKind::Sampler);
    CHECK_FALSE(b[1].comparisonSampler);
    CHECK(b[2].textureDimension == TextureDimension::D2Array);
    CHECK(b[2].sampleKind == TextureSampleKind::UInt);
    CHECK(b[3].textureDimension == TextureDimension::D3);
    CHECK(b[3].sampleKind == TextureSampleKind::Int);
    CHECK(b[4].textureDimension == TextureDimension::Cube);
    CHECK(b[5].multisampled);
    CHECK(b[5].sampleKind == TextureSampleKind::UnfilterableFloat);
    CHECK(b[6].sampleKind == TextureSampleKind::Depth);
    CHECK(b[7].comparisonSampler);
    CHECK(reflection.fragmentOutputs == 4); // locations 0, 2 and 3
}

TEST_CASE("SPIR-V storage textures have a format and an access")
{
    const ShaderReflection reflection = Reflect({Compile("comp", R"(
layout(set = 0, binding = 0, rgba8) writeonly uniform image2D target;
layout(set = 0, binding = 1, r32f) readonly uniform image2D source;
layout(set = 0, binding = 2, r32ui) uniform uimage3D both;
void main()
{
    imageStore(target, ivec2(0), imageLoad(source, ivec2(0)));
    imageStore(both, ivec3(0), imageLoad(both, ivec3(1)));
}
)")});
    REQUIRE(reflection.bindings.size() == 3);
    CHECK(reflection.bindings[0].kind == BindingKind::StorageTexture);
    CHECK(reflection.bindings[0].storageFormat == "rgba8unorm");
    CHECK(reflection.bindings[0].storageAccess == "write");
    CHECK(reflection.bindings[1].storageFormat == "r32float");
    CHECK(reflection.bindings[1].storageAccess == "read");
    CHECK(reflection.bindings[2].storageFormat == "r32uint");
    CHECK(reflection.bindings[2].storageAccess == "read_write");
    CHECK(reflection.bindings[2].textureDimension == TextureDimension::D3);
}

TEST_CASE("A matrix among the vertex inputs takes a location for each column")
{
    const ShaderReflection reflection =
        Reflect({Compile("vert", "layout(location = 3) in mat2x3 m;\nlayout(location = 0) in uvec4 joints;\n"
                                 "void main() { gl_Position = vec4(m[0] + m[1], joints.x); }")});
    REQUIRE(reflection.vertexInputs.size() == 3);
    CHECK(reflection.vertexInputs[0].scalar == ScalarType::UInt);
    CHECK(reflection.vertexInputs[0].components == 4);
    CHECK(reflection.vertexInputs[1].location == 3);
    CHECK(reflection.vertexInputs[1].components == 3);
    CHECK(reflection.vertexInputs[2].location == 4);
}

TEST_CASE("Combined image samplers and push constants are errors that say what to do")
{
    const std::string out = "layout(location = 0) out vec4 c;\n";
    CHECK(ErrorOf({Compile("frag", out + "layout(set = 0, binding = 0) uniform sampler2D image;\n"
                                         "void main() { c = texture(image, vec2(0)); }")}) ==
          "SPIR-V module 1 of 1: Variable \"image\": WebGPU has no combined image samplers; declare a texture and a "
          "sampler in their place.");
    CHECK(
        ErrorOf({Compile("frag", out + "layout(push_constant) uniform Push { vec4 v; } pushed;\n"
                                       "void main() { c = pushed.v; }")}) ==
        "SPIR-V module 1 of 1: Variable \"pushed\": WebGPU has no push constants; use a uniform block in their place.");
}

TEST_CASE("A matrix that is stored by rows is an error")
{
    CHECK(ErrorOf({Compile("vert", "layout(set = 0, binding = 0, row_major) uniform B { mat4 turned; } b;\n"
                                   "void main() { gl_Position = b.turned[0]; }")}) ==
          "SPIR-V module 1 of 1: Variable \"b\": The matrix \"turned\" is stored by rows; declare it column_major.");
}

TEST_CASE("No SPIR-V modules reflect to nothing, empty and broken ones to an error")
{
    const ShaderReflection nothing = Reflect({});
    CHECK(nothing.entryPoints.empty());
    CHECK(nothing.bindings.empty());
    CHECK(nothing.GroupCount() == 0);

    CHECK(ErrorOf({{}}) == "SPIR-V module 1 of 1: It is empty.");
    CHECK_THAT(ErrorOf({{1, 2, 3}}), Catch::Matchers::StartsWith("SPIR-V module 1 of 1: It cannot be read: "));
    Words truncated = Compile("vert", vertexSource);
    truncated.resize(truncated.size() - 1);
    CHECK_THAT(ErrorOf({truncated}), Catch::Matchers::StartsWith("SPIR-V module 1 of 1: It cannot be read: "));
}
