#include "shader/WgslReflection.h"

#include "support/Catch.h"

#include <string>

using namespace Varkle;

namespace
{

ShaderReflection Reflect(std::string_view source)
{
    const Result<ShaderReflection> reflection = ReflectWgsl(source);
    INFO((reflection ? "" : reflection.GetError().message));
    REQUIRE(reflection);
    return *reflection;
}

std::string ErrorOf(std::string_view source)
{
    const Result<ShaderReflection> reflection = ReflectWgsl(source);
    return reflection ? "no error" : reflection.GetError().message;
}

ShaderBinding OnlyBinding(std::string_view source)
{
    const ShaderReflection reflection = Reflect(source);
    REQUIRE(reflection.bindings.size() == 1);
    return reflection.bindings[0];
}

/// Lays out a type as the content of a uniform buffer.
UniformMember LayoutOf(const std::string& type, const std::string& declarations = {})
{
    return OnlyBinding("@group(0) @binding(0) var<uniform> u: " + type + ";\n" + declarations).layout;
}

/// The members of a uniform struct as "name@offset+size", separated by spaces.
std::string Places(const UniformMember& layout)
{
    std::string places;
    for (const UniformMember& member : layout.members)
        places += (places.empty() ? "" : " ") + member.name + "@" + std::to_string(member.offset) + "+" +
                  std::to_string(member.size);
    return places;
}

/// Reflects a texture or sampler variable of a type.
ShaderBinding Handle(const std::string& type)
{
    return OnlyBinding("@group(0) @binding(0) var t: " + type + ";");
}

/// Reflects a copy that ends where the text ends, so that the address sanitizer sees any look behind it. Tells whether
/// what came out makes sense.
bool GivesErrorOrSense(std::string_view text)
{
    const std::vector<char> exact(text.begin(), text.end());
    const Result<ShaderReflection> reflection = ReflectWgsl({exact.data(), exact.size()});
    if (!reflection)
        return !reflection.GetError().message.empty();
    int previous = -1;
    for (const ShaderBinding& binding : reflection->bindings)
    {
        const int order = binding.group * 1000 + binding.binding;
        if (order <= previous || binding.minSize < binding.layout.size)
            return false;
        for (const UniformMember& member : binding.layout.members)
            if (member.offset + member.size > binding.layout.size)
                return false;
        previous = order;
    }
    return reflection->GroupCount() <= 1000;
}

const std::string filter = R"(
// A filter /* that opens no block comment here
struct UniformsStruct { method: u32, _p0: u32, _p1: u32, _p2: u32 }
struct VertexInput { @location(0) position: vec2<f32> }
struct VertexOutput { @builtin(position) clip_position: vec4<f32>, @location(0) uv: vec2<f32> }
struct FragmentInput { @location(0) uv: vec2<f32> }

@group(0) @binding(0) var<uniform> uniforms: UniformsStruct;
@group(1) @binding(0) var textureIn: texture_2d<f32>;
@group(1) @binding(1) var samplerIn: sampler;

@vertex fn vs_main(in: VertexInput) -> VertexOutput
{
    var out: VertexOutput; /* } /* nested */ } */
    out.clip_position = vec4<f32>(in.position, 0.0, 1.0);
    if (in.position.x < 0.0) { out.uv = vec2<f32>(0.5); }
    return out;
}

@fragment fn fs_main(in: FragmentInput) -> @location(0) vec4<f32>
{
    return textureSample(textureIn, samplerIn, in.uv);
}
)";

const std::string meshCopy = R"(
struct Uniforms { vertexCount: u32, copyCount: u32, flags: u32, _pad: u32 }
struct Vec3 { x: f32, y: f32, z: f32 }
const groupSize = 64;
alias Matrices = array<mat4x4<f32>>;
@group(0) @binding(0) var<uniform> uniforms: Uniforms;
@group(0) @binding(1) var<storage, read> transforms: Matrices;
@group(0) @binding(3) var<storage> inPositions: array<Vec3>;
@group(0) @binding(4) var<storage, read_write> outPositions: array<Vec3>;
@group(0) @binding(7) var<storage, read> inTangents: array<vec4<f32>>;
fn loadVec3(p: ptr<storage, array<Vec3>, read>, i: u32) -> vec3<f32>
{
    return vec3<f32>((*p)[i].x, (*p)[i].y, (*p)[i].z);
}
@compute @workgroup_size(groupSize, 1, 1)
fn main(@builtin(global_invocation_id) id: vec3<u32>)
{
    if (id.x >= uniforms.vertexCount * uniforms.copyCount) { return; }
    outPositions[id.x].x = transforms[0][0][0];
}
)";

} // namespace

TEST_CASE("A full-screen filter reflects its entry points, bindings, input and output")
{
    const ShaderReflection reflection = Reflect(filter);

    REQUIRE(reflection.entryPoints.size() == 2);
    CHECK(reflection.entryPoints[0].name == "vs_main");
    CHECK(reflection.entryPoints[0].stage == ShaderStage::Vertex);
    CHECK(reflection.entryPoints[1].name == "fs_main");
    CHECK(reflection.FindEntryPoint(ShaderStage::Fragment) == &reflection.entryPoints[1]);
    CHECK(reflection.FindEntryPoint(ShaderStage::Compute) == nullptr);
    CHECK(reflection.fragmentOutputs == 1);

    REQUIRE(reflection.vertexInputs.size() == 1);
    CHECK(reflection.vertexInputs[0].name == "position");
    CHECK(reflection.vertexInputs[0].location == 0);
    CHECK(reflection.vertexInputs[0].components == 2);
    CHECK(reflection.vertexInputs[0].scalar == ScalarType::Float);

    CHECK(reflection.GroupCount() == 2);
    REQUIRE(reflection.bindings.size() == 3);
    const ShaderBinding* uniforms = reflection.FindBinding("uniforms");
    REQUIRE(uniforms);
    CHECK(uniforms == reflection.FindBinding(0, 0));
    CHECK(uniforms->kind == BindingKind::UniformBuffer);
    CHECK(uniforms->stages == (ShaderStage::Vertex | ShaderStage::Fragment));
    CHECK(uniforms->minSize == 16);
    CHECK(uniforms->layout.name == "uniforms");
    CHECK(Places(uniforms->layout) == "method@0+4 _p0@4+4 _p1@8+4 _p2@12+4");
    CHECK(uniforms->layout.members[0].scalar == ScalarType::UInt);
    REQUIRE(reflection.FindBinding(1, 0));
    CHECK(reflection.FindBinding(1, 0)->kind == BindingKind::Texture);
    REQUIRE(reflection.FindBinding(1, 1));
    CHECK(reflection.FindBinding(1, 1)->kind == BindingKind::Sampler);
    CHECK(reflection.FindBinding(1, 2) == nullptr);
    CHECK(reflection.FindBinding("nothing") == nullptr);
}

TEST_CASE("A mesh compute shader reflects what it reads, what it writes and the smallest sizes")
{
    const ShaderReflection reflection = Reflect(meshCopy);

    REQUIRE(reflection.entryPoints.size() == 1);
    CHECK(reflection.entryPoints[0].name == "main");
    CHECK(reflection.entryPoints[0].stage == ShaderStage::Compute);
    CHECK(reflection.vertexInputs.empty());
    CHECK(reflection.fragmentOutputs == 0);

    REQUIRE(reflection.bindings.size() == 5);
    CHECK(reflection.bindings[1].name == "transforms");
    CHECK(reflection.bindings[1].kind == BindingKind::ReadOnlyStorageBuffer);
    CHECK(reflection.bindings[1].minSize == 64);
    CHECK(reflection.bindings[2].kind == BindingKind::ReadOnlyStorageBuffer); // read is what WGSL takes for granted
    CHECK(reflection.bindings[2].minSize == 12);
    CHECK(reflection.bindings[3].name == "outPositions");
    CHECK(reflection.bindings[3].kind == BindingKind::StorageBuffer);
    CHECK(reflection.bindings[3].minSize == 12);
    CHECK(reflection.bindings[3].stages == ShaderStage::Compute);
    CHECK(reflection.bindings[4].binding == 7);
    CHECK(reflection.bindings[4].minSize == 16);
}

TEST_CASE("An empty text and one of comments reflect to nothing")
{
    for (const std::string_view source : {"", " \n\t", "// nothing", "/* never closed", "//"})
    {
        INFO(source);
        const ShaderReflection reflection = Reflect(source);
        CHECK(reflection.entryPoints.empty());
        CHECK(reflection.bindings.empty());
        CHECK(reflection.GroupCount() == 0);
    }
}

TEST_CASE("Scalars, vectors and matrices have WGSL's sizes and alignments")
{
    // Each follows one f32, so that its offset is its alignment.
    const auto place = [](const std::string& type)
    {
        const UniformMember layout = LayoutOf("S", "struct S { a: f32, b: " + type + " }");
        REQUIRE(layout.members.size() == 2);
        return std::to_string(layout.members[1].offset) + "+" + std::to_string(layout.members[1].size) + " of " +
               std::to_string(layout.size);
    };
    CHECK(place("i32") == "4+4 of 8");
    CHECK(place("f16") == "4+2 of 8");
    CHECK(place("vec2<f32>") == "8+8 of 16");
    CHECK(place("vec2h") == "4+4 of 8");
    CHECK(place("vec3<f32>") == "16+12 of 32");
    CHECK(place("vec3h") == "8+6 of 16");
    CHECK(place("vec4u") == "16+16 of 32");
    CHECK(place("mat2x2<f32>") == "8+16 of 24");
    CHECK(place("mat3x3f") == "16+48 of 64");
    CHECK(place("mat4x3<f32>") == "16+64 of 80");
    CHECK(place("mat3x2h") == "4+12 of 16");
    CHECK(place("mat4x4<f32>") == "16+64 of 80");
    CHECK(place("atomic<u32>") == "4+4 of 8");
}

TEST_CASE("A vector tells its component type and count, a matrix also its columns and their stride")
{
    CHECK(LayoutOf("vec3i").scalar == ScalarType::Int);
    CHECK(LayoutOf("vec3i").rows == 3);
    CHECK(LayoutOf("vec3i").columns == 1);
    CHECK(LayoutOf("vec3i").columnStride == 0);
    CHECK(LayoutOf("vec2<u32>").scalar == ScalarType::UInt);
    CHECK(LayoutOf("f16").scalar == ScalarType::Half);

    const UniformMember matrix = LayoutOf("mat4x3<f32>");
    CHECK(matrix.name == "u");
    CHECK(matrix.columns == 4);
    CHECK(matrix.rows == 3);
    CHECK(matrix.columnStride == 16);
    CHECK(LayoutOf("mat3x2f").columnStride == 8);
    CHECK(LayoutOf("mat2x4h").columnStride == 8);
}

TEST_CASE("A scalar may use the room behind a vec3")
{
    CHECK(Places(LayoutOf("S", "struct S { a: vec3f, b: f32, c: vec3f, d: vec2f }")) == "a@0+12 b@12+4 c@16+12 d@32+8");
}

TEST_CASE("Structs nest, in any order of declaration, and are as large as their alignment asks")
{
    const UniformMember layout = LayoutOf("Outer", "struct Outer { first: f32, inner: Inner, last: f32 }\n"
                                                   "struct Inner { color: vec3<f32>, on: u32, uv: vec2<f32>, };");
    CHECK(Places(layout) == "first@0+4 inner@16+32 last@48+4");
    CHECK(layout.size == 64);
    CHECK(Places(layout.members[1]) == "color@0+12 on@12+4 uv@16+8");
}

TEST_CASE("@align and @size move what follows and leave the member as it is")
{
    const UniformMember layout = LayoutOf(
        "S", "struct S { a: f32, @align(16) b: f32, @size(32) c: vec2f, d: f32, @size(4 * 4) @align(64) e: u32 }");
    CHECK(Places(layout) == "a@0+4 b@16+4 c@24+8 d@56+4 e@64+4");
    CHECK(layout.size == 128);
}

TEST_CASE("Arrays have a length and a stride, of structs also the members")
{
    const UniformMember scalars = LayoutOf("array<vec4<f32>, 4>");
    CHECK(scalars.arrayLength == 4);
    CHECK(scalars.arrayStride == 16);
    CHECK(scalars.size == 64);
    CHECK(scalars.rows == 4);
    CHECK(scalars.members.empty());

    const UniformMember vectors = LayoutOf("array<vec3f, 2>");
    CHECK(vectors.arrayStride == 16); // the vec3's alignment
    CHECK(vectors.size == 32);

    const UniformMember structs = LayoutOf("array<Light, 3,>", "struct Light { color: vec3f, power: f32, at: vec2f }");
    CHECK(structs.arrayLength == 3);
    CHECK(structs.arrayStride == 32);
    CHECK(Places(structs) == "color@0+12 power@12+4 at@16+8");

    const UniformMember matrices = LayoutOf("array<mat3x3<f32>, 2>");
    CHECK(matrices.arrayStride == 48);
    CHECK(matrices.columnStride == 16);
    CHECK(matrices.columns == 3);
}

TEST_CASE("An array of arrays has the inner array as its one member without a name")
{
    const UniformMember outer = LayoutOf("array<array<vec4<u32>, 2>, 3>");
    CHECK(outer.name == "u");
    CHECK(outer.arrayLength == 3);
    CHECK(outer.arrayStride == 32);
    CHECK(outer.size == 96);
    REQUIRE(outer.members.size() == 1);
    CHECK(outer.members[0].name.empty());
    CHECK(outer.members[0].arrayLength == 2);
    CHECK(outer.members[0].arrayStride == 16);
    CHECK(outer.members[0].scalar == ScalarType::UInt);
}

TEST_CASE("Array lengths are literals, constants and expressions of them")
{
    const auto length = [](const std::string& expression, const std::string& declarations = {})
    { return LayoutOf("array<f32, " + expression + ">", declarations).arrayLength; };
    CHECK(length("12") == 12);
    CHECK(length("12u") == 12);
    CHECK(length("0x1Fi") == 31);
    CHECK(length("N", "const N = 5;") == 5);
    CHECK(length("N", "const N: u32 = 2u * M + 1u; const M = 3u;") == 7);
    CHECK(length("2 + 3 * 4 - 10 / 5") == 12);
    CHECK(length("(2 + 3) * 4 % 7") == 6);
    CHECK(length("1 << 4") == 16);
    CHECK(length("(64 >> 3)") == 8);
    CHECK(length("u32(N) - -1", "const N = i32(6);") == 7);
    CHECK(length("(12 & 6) | 3 ^ 8") == 15);
    CHECK(length("20 - 5 - 5") == 10);
}

TEST_CASE("Array lengths without a known positive value are errors that name the variable")
{
    const auto error = [](const std::string& length, const std::string& declarations = {})
    { return ErrorOf("@group(0) @binding(0) var<uniform> u: array<f32, " + length + ">;" + declarations); };
    CHECK(error("0") == "Variable \"u\": The array length 0 is less than 1.");
    CHECK(error("2 - 3") == "Variable \"u\": The array length -1 is less than 1.");
    const std::string unknown = "Variable \"u\": The expression that starts with ";
    CHECK(error("N") == unknown + "\"N\" has no known whole value.");
    CHECK(error("1.5") == unknown + "\"1.5\" has no known whole value.");
    CHECK(error("4 / 0") == unknown + "\"4\" has no known whole value.");
    CHECK(error("4 % 0") == unknown + "\"4\" has no known whole value.");
    CHECK(error("1 << 40") == unknown + "\"1\" has no known whole value.");
    CHECK(error("99999999999999999999") == unknown + "\"99999999999999999999\" has no known whole value.");
    CHECK(error("65536 * 65536") == unknown + "\"65536\" has no known whole value.");
    CHECK(error("N", "override N: u32 = 4;") == unknown + "\"N\" has no known whole value.");
    CHECK(error("N", "const N = M; const M = N;") == unknown + "\"N\" has no known whole value.");
    CHECK(error("4294967295") ==
          "Variable \"u\": An array of 4294967295 elements of 4 bytes is larger than any buffer.");
}

TEST_CASE("Aliases stand for what they name, also for textures and components")
{
    CHECK(LayoutOf("Color", "alias Color = Four; alias Four = vec4<Real>; alias Real = f32;").size == 16);
    CHECK(LayoutOf("Lights", "alias Lights = array<Light, 2>; struct Light { a: vec4f }").arrayLength == 2);

    const ShaderBinding texture = OnlyBinding("alias Picture = texture_2d<Whole>; alias Whole = u32;\n"
                                              "@group(0) @binding(0) var t: Picture;");
    CHECK(texture.kind == BindingKind::Texture);
    CHECK(texture.sampleKind == TextureSampleKind::UInt);
}

TEST_CASE("A declared name hides a type of the language")
{
    CHECK(LayoutOf("vec3f", "struct vec3f { x: f32, y: f32, z: f32 }").members.size() == 3);
}

TEST_CASE("A struct with a runtime array needs room for one element")
{
    const ShaderBinding binding = OnlyBinding(
        "struct List { count: atomic<u32>, items: array<vec4<f32>> }\n"
        "@group(0) @binding(0) var<storage, read_write> list: List;\n@compute @workgroup_size(1) fn main() {}");
    CHECK(binding.kind == BindingKind::StorageBuffer);
    CHECK(binding.minSize == 32);
    CHECK(binding.layout == UniformMember()); // layouts are for uniform buffers
}

TEST_CASE("Attributes come in any order, with any space and with constants as arguments")
{
    const ShaderReflection reflection = Reflect("const first = 1;\n"
                                                "@binding(first + 1) @ group ( first , )\n"
                                                "var < uniform > u : f32 ;\n"
                                                "@workgroup_size(8, 8) @compute\nfn main() {}");
    REQUIRE(reflection.bindings.size() == 1);
    CHECK(reflection.bindings[0].group == 1);
    CHECK(reflection.bindings[0].binding == 2);
    CHECK(reflection.GroupCount() == 2);
    REQUIRE(reflection.entryPoints.size() == 1);
    CHECK(reflection.entryPoints[0].stage == ShaderStage::Compute);
}

TEST_CASE("Bindings are sorted by group, then binding")
{
    const ShaderReflection reflection =
        Reflect("@group(1) @binding(1) var b: sampler;\n@group(1) @binding(0) var a: sampler;\n"
                "@group(0) @binding(5) var c: sampler;");
    REQUIRE(reflection.bindings.size() == 3);
    CHECK(reflection.bindings[0].name == "c");
    CHECK(reflection.bindings[1].name == "a");
    CHECK(reflection.bindings[2].name == "b");
}

TEST_CASE("Directives, overrides, assertions and variables without bindings are passed over")
{
    const ShaderReflection reflection = Reflect(R"(
enable f16;
requires readonly_and_readwrite_storage_textures;
diagnostic(off, derivative_uniformity);
@id(3) override scale: f32 = 2.0;
const_assert 1 < 2;
const pi = 3.14159;
const table = array<vec2<f32>, 2>(vec2<f32>(1.0, -1e-3), vec2<f32>(0x1p+2, .5));
var<private> seed: u32 = 1 << 3;
var<workgroup> tile: array<array<f32, 16>, 16>;
;
@group(0) @binding(0) var<uniform> u: vec4f;
)");
    REQUIRE(reflection.bindings.size() == 1);
    CHECK(reflection.bindings[0].name == "u");
}

TEST_CASE("Sampled textures of every dimension tell what a sample yields")
{
    const std::pair<const char*, TextureDimension> dimensions[] = {
        {"1d", TextureDimension::D1}, {"2d", TextureDimension::D2},     {"2d_array", TextureDimension::D2Array},
        {"3d", TextureDimension::D3}, {"cube", TextureDimension::Cube}, {"cube_array", TextureDimension::CubeArray}};
    for (const auto& [name, dimension] : dimensions)
    {
        INFO(name);
        const ShaderBinding binding = Handle("texture_" + std::string(name) + "<f32>");
        CHECK(binding.kind == BindingKind::Texture);
        CHECK(binding.textureDimension == dimension);
        CHECK(binding.sampleKind == TextureSampleKind::Float);
        CHECK_FALSE(binding.multisampled);
    }
    CHECK(Handle("texture_2d<i32>").sampleKind == TextureSampleKind::Int);
    CHECK(Handle("texture_3d<u32>").sampleKind == TextureSampleKind::UInt);
}

TEST_CASE("Depth and multisampled textures and both kinds of samplers are told apart")
{
    CHECK(Handle("texture_depth_2d").sampleKind == TextureSampleKind::Depth);
    CHECK(Handle("texture_depth_cube_array").textureDimension == TextureDimension::CubeArray);
    CHECK(Handle("texture_depth_multisampled_2d").multisampled);
    CHECK(Handle("texture_depth_multisampled_2d").sampleKind == TextureSampleKind::Depth);
    CHECK(Handle("texture_multisampled_2d<f32>").multisampled);
    CHECK(Handle("texture_multisampled_2d<f32>").sampleKind == TextureSampleKind::UnfilterableFloat);
    CHECK(Handle("texture_multisampled_2d<u32>").sampleKind == TextureSampleKind::UInt);
    CHECK(Handle("sampler").kind == BindingKind::Sampler);
    CHECK_FALSE(Handle("sampler").comparisonSampler);
    CHECK(Handle("sampler_comparison").comparisonSampler);
}

TEST_CASE("Storage textures have a format and an access")
{
    const ShaderBinding binding = Handle("texture_storage_2d_array<rgba8unorm, write>");
    CHECK(binding.kind == BindingKind::StorageTexture);
    CHECK(binding.textureDimension == TextureDimension::D2Array);
    CHECK(binding.storageFormat == "rgba8unorm");
    CHECK(binding.storageAccess == "write");
    CHECK(binding.IsWritable());
    CHECK_FALSE(Handle("texture_storage_1d<r32float,read>").IsWritable());
    CHECK(Handle("texture_storage_3d<r32uint, read_write>").IsWritable());
}

TEST_CASE("What a shader may write is hidden from its vertex stage only")
{
    const ShaderReflection reflection = Reflect("@group(0) @binding(0) var<storage, read_write> a: array<f32>;\n"
                                                "@group(0) @binding(1) var b: texture_storage_2d<r32float, write>;\n"
                                                "@group(0) @binding(2) var c: texture_storage_2d<r32float, read>;\n"
                                                "@vertex fn v() -> @builtin(position) vec4f { return vec4f(); }\n"
                                                "@fragment fn f() {}");
    REQUIRE(reflection.bindings.size() == 3);
    CHECK(reflection.bindings[0].stages == ShaderStage::Fragment);
    CHECK(reflection.bindings[1].stages == ShaderStage::Fragment);
    CHECK(reflection.bindings[2].stages == (ShaderStage::Vertex | ShaderStage::Fragment));
}

TEST_CASE("Vertex inputs come from parameters and structs, sorted by location, without built-in values")
{
    const ShaderReflection reflection =
        Reflect("struct In { @location(4) joints: vec4<u32>, @builtin(vertex_index) i: u32, @location(0) at: Point }\n"
                "alias Point = vec3f; alias Input = In;\n"
                "@vertex fn v(@builtin(instance_index) n: u32, in: Input, @interpolate(flat) @location(2) w: f32,)\n"
                "    -> @builtin(position) vec4f { return vec4f(); }\n"
                "@vertex fn second(@location(9) x: f32) -> @builtin(position) vec4f { return vec4f(); }");
    REQUIRE(reflection.vertexInputs.size() == 3);
    CHECK(reflection.vertexInputs[0].name == "at");
    CHECK(reflection.vertexInputs[0].location == 0);
    CHECK(reflection.vertexInputs[0].components == 3);
    CHECK(reflection.vertexInputs[1].name == "w");
    CHECK(reflection.vertexInputs[1].location == 2);
    CHECK(reflection.vertexInputs[1].components == 1);
    CHECK(reflection.vertexInputs[2].name == "joints");
    CHECK(reflection.vertexInputs[2].scalar == ScalarType::UInt);
    CHECK(reflection.vertexInputs[2].components == 4);
    CHECK(reflection.entryPoints.size() == 2);
}

TEST_CASE("Fragment outputs are counted up to the highest location")
{
    const auto outputs = [](const std::string& text) { return Reflect(text).fragmentOutputs; };
    CHECK(outputs("@fragment fn f() {}") == 0);
    CHECK(outputs("@fragment fn f() -> @location(0) vec4<f32> { return vec4<f32>(); }") == 1);
    CHECK(outputs("@fragment fn f() -> @builtin(frag_depth) f32 { return 0.5; }") == 0);
    CHECK(outputs("struct Out { @location(0) a: vec4f, @builtin(frag_depth) d: f32, @location(2) b: vec4f }\n"
                  "@fragment fn f() -> Out { var o: Out; return o; }") == 3);
    // The second entry point does not count.
    CHECK(outputs("@fragment fn f() -> @location(0) vec4f { return vec4f(); }\n"
                  "@fragment fn g() -> @location(3) vec4f { return vec4f(); }") == 1);
}

TEST_CASE("Comments stand anywhere and nest")
{
    const ShaderBinding binding = OnlyBinding("/* @group(9) /* nested */ @binding(9) var x: sampler; */\n"
                                              "@group/**/(1/* one */) // @binding(3)\r\n"
                                              "@binding(2)\nvar/**/t/**/:/**/texture_2d</**/f32/**/>;");
    CHECK(binding.group == 1);
    CHECK(binding.binding == 2);
}

TEST_CASE("Names may have letters beyond ASCII")
{
    CHECK(OnlyBinding("@group(0) @binding(0) var<uniform> gr\xC3\xB6\xC3\x9F"
                      "e: f32;")
              .name == "gr\xC3\xB6\xC3\x9F"
                       "e");
}

TEST_CASE("Types that cannot be bound are errors that name variable and type")
{
    const auto error = [](const std::string& variable, const std::string& declarations = {})
    { return ErrorOf("@group(0) @binding(0) var" + variable + ";" + declarations); };
    CHECK(error("<uniform> u: Missing") == "Variable \"u\": There is no type \"Missing\" that a buffer can hold.");
    CHECK(error("<uniform> u: N", "const N = 1;") == "Variable \"u\": \"N\" is a constant, not a type.");
    CHECK(error("<uniform> u: vec5<f32>") == "Variable \"u\": \"vec5\" is not a vector or matrix of known components.");
    CHECK(error("<uniform> u: vec3") == "Variable \"u\": \"vec3\" is not a vector or matrix of known components.");
    CHECK(error("<uniform> u: mat4f") == "Variable \"u\": \"mat4f\" is not a vector or matrix of known components.");
    CHECK(error("<private> u: f32") == "Variable \"u\": The address space \"private\" has no bindings.");
    CHECK(error(" t: texture_external") ==
          "Variable \"t\": There is no type \"texture_external\" that a group can bind.");
    CHECK(error(" t: texture_2d<bool>") == "Variable \"t\": A texture cannot have components of the type \"bool\".");
    CHECK(error(" t: texture_storage_2d<r32float>") ==
          "Variable \"t\": A storage texture needs a format and an access mode.");
    CHECK(error(" t: f32") == "Variable \"t\": There is no type \"f32\" that a group can bind.");
    CHECK(ErrorOf("@vertex fn v(@location(0) x: Missing) {}") ==
          "Vertex input \"x\": There is no type \"Missing\" that a buffer can hold.");
}

TEST_CASE("Numbers of groups, bindings and locations out of range are errors")
{
    CHECK(ErrorOf("@group(1000) @binding(0) var s: sampler;") == "Variable \"s\": @group(1000) is not from 0 to 999.");
    CHECK(ErrorOf("@group(0) @binding(-1) var s: sampler;") == "Variable \"s\": @binding(-1) is not from 0 to 999.");
    CHECK(ErrorOf("@group @binding(0) var s: sampler;") == "Variable \"s\": @group needs a number in parentheses.");
    CHECK(ErrorOf("@fragment fn f() -> @location(4000000000) vec4f {}") ==
          "Result of \"f\": @location(4000000000) is not from 0 to 999.");
}

TEST_CASE("Two variables at one binding are an error that names both")
{
    CHECK(ErrorOf("@group(0) @binding(1) var a: sampler; @group(0) @binding(1) var b: sampler;") ==
          "The variables \"a\" and \"b\" both use group 0, binding 1.");
}

TEST_CASE("Types that contain themselves or too much are errors")
{
    const std::string endless = "Variable \"u\": Its type has too many parts or contains itself.";
    const std::string variable = "@group(0) @binding(0) var<uniform> u: A0;\n";
    CHECK(ErrorOf(variable + "struct A0 { a: A0 }") == endless);
    CHECK(ErrorOf(variable + "struct A0 { a: f32, b: array<B, 2>, c: A0 } struct B { a: A0 }") == endless);
    CHECK(ErrorOf(variable + "alias A0 = B; alias B = A0;") == endless);
    CHECK(ErrorOf("@group(0) @binding(0) var t: A; alias A = B; alias B = A;").starts_with("Variable \"t\": "));

    // Each struct holds the next one twice: forty of them have 2^40 members.
    std::string doubling = variable;
    for (int i = 0; i < 40; ++i)
        doubling += "struct A" + std::to_string(i) + " { a: A" + std::to_string(i + 1) + ", b: A" +
                    std::to_string(i + 1) + " }\n";
    CHECK(ErrorOf(doubling + "alias A40 = f32;") == endless);

    std::string sum = "@group(0) @binding(0) var<uniform> u: array<f32, A0>;\n";
    for (int i = 0; i < 40; ++i)
        sum += "const A" + std::to_string(i) + " = A" + std::to_string(i + 1) + " + A" + std::to_string(i + 1) + ";\n";
    CHECK(ErrorOf(sum + "const A40 = 1;").starts_with("Variable \"u\": "));

    CHECK(ErrorOf(variable + "struct A0 { @size(4294967295) a: f32, b: f32 }") ==
          "Variable \"u\": A struct of 4294967296 bytes is larger than any buffer.");
    const std::string unknown = "Variable \"s\": The expression that starts with ";
    const std::string rest = ") @binding(0) var s: sampler;";
    CHECK(ErrorOf("@group(" + std::string(100'000, '(') + "0" + std::string(100'000, ')') + rest) ==
          unknown + "\"(\" has no known whole value.");
    CHECK(ErrorOf("@group(" + std::string(100'000, '-') + "0" + rest) == unknown + "\"-\" has no known whole value.");
}

TEST_CASE("Mistakes between declarations do not hide what can be read")
{
    const ShaderReflection reflection = Reflect("}} @ nonsense ) 12 struct ; fn ; var ;\n"
                                                "@group(0) @binding(0) var<uniform> u: vec4f;\n"
                                                "@fragment fn f( -> { ");
    REQUIRE(reflection.bindings.size() == 1);
    CHECK(reflection.bindings[0].minSize == 16);
}

TEST_CASE("Every beginning and every end of a text gives an error or makes sense")
{
    for (const std::string_view source : {std::string_view(filter), std::string_view(meshCopy)})
    {
        for (std::size_t i = 0; i <= source.size(); ++i)
        {
            CHECK(GivesErrorOrSense(source.substr(0, i)));
            CHECK(GivesErrorOrSense(source.substr(i)));
        }
    }
}

TEST_CASE("A text with any one character replaced, removed or doubled gives an error or makes sense")
{
    const std::string_view replacements = "{}()<>@:;,=-/*\"0aZ_ \n\x80";
    for (const std::string_view source : {std::string_view(filter), std::string_view(meshCopy)})
    {
        for (std::size_t i = 0; i < source.size(); ++i)
        {
            std::string changed(source);
            for (const char replacement : replacements)
            {
                changed[i] = replacement;
                if (!GivesErrorOrSense(changed))
                    FAIL_CHECK(changed);
            }
            changed = std::string(source).erase(i, 1);
            CHECK(GivesErrorOrSense(changed));
            changed = std::string(source).insert(i, 1, source[i]);
            CHECK(GivesErrorOrSense(changed));
        }
    }
}
