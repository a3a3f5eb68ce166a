#include "Varkle/Gpu/UniformBuffer.h"

#include "gpu/pass/QuadDrawing.h"
#include "support/ReadBuffer.h"

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

constexpr wgpu::BufferUsage readableUsage = uniformUsage | wgpu::BufferUsage::CopySrc;

/// Makes a buffer of one block for a uniform variable of a type, with the declarations that the type needs.
UniformBuffer MakeBuffer(const std::string& type, const std::string& declarations = {}, unsigned long blockCount = 1)
{
    const Shader shader =
        Shader::FromWgsl(declarations + "\n@group(0) @binding(0) var<uniform> uniforms: " + type + ";\n");
    return {shader, blockCount, readableUsage};
}

/// What the GPU holds after an upload.
template<class T = float>
std::vector<T> Uploaded(UniformBuffer& buffer)
{
    buffer.UploadChanges();
    return ReadBuffer<T>(buffer.GetBuffer());
}

} // namespace

TEST_CASE("A uniform buffer's blocks are multiples of 256 bytes apart")
{
    const UniformBuffer small = MakeBuffer("f32", {}, 3);
    CHECK(small.GetStructSize() == 4);
    CHECK(small.GetBlockSize() == 256);
    CHECK(small.GetBlockCount() == 3);

    const UniformBuffer full = MakeBuffer("array<vec4f, 16>");
    CHECK(full.GetStructSize() == 256);
    CHECK(full.GetBlockSize() == 256);

    const UniformBuffer large = MakeBuffer("array<vec4f, 17>");
    CHECK(large.GetStructSize() == 272);
    CHECK(large.GetBlockSize() == 512);
}

TEST_CASE("Making a uniform buffer and writing to it needs no GPU")
{
    const bool started = Graphics::IsStarted();
    const UniformBuffer buffer = MakeBuffer("f32");
    buffer.GetBlock(0).SetFloat(1);
    CHECK(Graphics::IsStarted() == started);
}

TEST_CASE("A uniform buffer is laid out after the first uniform variable, the one of a name, or the one at a binding")
{
    const Shader shader = Shader::FromWgsl(R"(
@group(1) @binding(0) var<uniform> second: array<vec4f, 4>;
@group(0) @binding(3) var<uniform> first: vec2f;
@group(0) @binding(0) var textureIn: texture_2d<f32>;
)");
    CHECK(UniformBuffer(shader, 1, uniformUsage).GetStructSize() == 8);
    CHECK(UniformBuffer(shader, "second", 1, uniformUsage).GetStructSize() == 64);
    CHECK(UniformBuffer(shader, glm::ivec2(0, 3), 1, uniformUsage).GetStructSize() == 8);
}

TEST_CASE("A uniform buffer without such a variable has size 0 and ignores what is written")
{
    const Shader shader = Shader::FromWgsl("@group(0) @binding(0) var textureIn: texture_2d<f32>;");
    const LogRecorder log;
    for (UniformBuffer buffer :
         {UniformBuffer(shader, 2, uniformUsage), UniformBuffer(shader, "uniforms", 2, uniformUsage),
          UniformBuffer(shader, "textureIn", 2, uniformUsage), UniformBuffer(shader, glm::ivec2(0, 0), 2, uniformUsage),
          UniformBuffer(Shader(), 2, uniformUsage), UniformBuffer()})
    {
        CHECK(buffer.GetStructSize() == 0);
        CHECK(buffer.GetBlockSize() == 0);
        buffer.GetBlock(0).GetVariable("radius").SetFloat(1);
        buffer.UploadChanges();
        CHECK_FALSE(buffer.GetBuffer());
    }
    CHECK(log.lines.empty());
}

TEST_CASE("Uniform members are written at the offsets of the shader's struct")
{
    UniformBuffer buffer =
        MakeBuffer("U", "struct U { a: f32, b: vec2f, c: vec3f, d: i32, e: vec4f, f: u32, m: mat4x4f }");
    const UniformProxy block = buffer.GetBlock(0);
    block.GetVariable("a").SetFloat(1);
    block.GetVariable("b").SetVec2({2, 3});
    block.GetVariable("c").SetVec3({4, 5, 6});
    block.GetVariable("d").SetInt(-7);
    block.GetVariable("e").SetVec4({8, 9, 10, 11});
    block.GetVariable("f").SetUInt(12);
    glm::mat4 matrix;
    for (int column = 0; column < 4; ++column)
        for (int row = 0; row < 4; ++row)
            matrix[column][row] = float(100 + 4 * column + row);
    block.GetVariable("m").SetMat4(matrix);

    // a at 0, b at 8, c at 16, d right behind it at 28, e at 32, f at 48, m at the next multiple of 16.
    const std::vector<float> floats = Uploaded(buffer);
    const std::vector<std::int32_t> ints = ReadBuffer<std::int32_t>(buffer.GetBuffer());
    CHECK(std::vector<float>(floats.begin(), floats.begin() + 7) == std::vector<float>{1, 0, 2, 3, 4, 5, 6});
    CHECK(ints[7] == -7);
    CHECK(std::vector<float>(floats.begin() + 8, floats.begin() + 12) == std::vector<float>{8, 9, 10, 11});
    CHECK(ints[12] == 12);
    CHECK(floats[13] == 0);
    for (std::size_t i = 0; i < 16; ++i)
        CHECK(floats[16 + i] == float(100 + i));
}

TEST_CASE("Array elements and members of structs in structs are addressed step by step")
{
    UniformBuffer buffer = MakeBuffer("U", R"(
struct Light { color: vec3f, power: f32 }
struct U { count: u32, lights: array<Light, 3>, weights: array<array<vec4f, 2>, 2> }
)");
    buffer.GetBlock(0).GetVariable("lights").GetElement(2).GetVariable("power").SetFloat(5);
    buffer.GetBlock(0).GetVariable("weights").GetElement(1).GetElement(0).SetVec4({1, 2, 3, 4});
    const std::vector<float> floats = Uploaded(buffer);
    CHECK(floats[4 + 2 * 4 + 3] == 5);  // count fills 16 bytes, a light 16
    CHECK(floats[16 + 1 * 8 + 0] == 1); // lights end at byte 64, an inner array has 32
    CHECK(floats[16 + 1 * 8 + 3] == 4);
}

TEST_CASE("A uniform that is not a struct is written through the block itself")
{
    UniformBuffer buffer = MakeBuffer("vec2f");
    buffer.GetBlock(0).SetVec2({1, 2});
    const std::vector<float> floats = Uploaded(buffer);
    CHECK(floats[0] == 1);
    CHECK(floats[1] == 2);
}

TEST_CASE("Whole numbers are converted to the uniform's type as WGSL converts literals")
{
    UniformBuffer buffer = MakeBuffer("U", "enable f16; struct U { f: f32, i: i32, u: u32, h: f16 }");
    const UniformProxy block = buffer.GetBlock(0);
    const LogRecorder log;
    block.GetVariable("f").SetInt(-3);
    block.GetVariable("i").SetUInt(4);
    block.GetVariable("u").SetInt(5);
    block.GetVariable("h").SetFloat(1.0f); // 0x3c00
    CHECK(log.lines.empty());
    const std::vector<std::uint32_t> words = Uploaded<std::uint32_t>(buffer);
    CHECK(words[0] == 0xc0400000u); // -3.0f
    CHECK(words[1] == 4);
    CHECK(words[2] == 5);
    CHECK((words[3] & 0xffffu) == 0x3c00u);
}

TEST_CASE("Values that the uniform's type cannot take are refused, and the old ones stay")
{
    UniformBuffer buffer =
        MakeBuffer("U", "enable f16; struct U { f: f32, i: i32, u: u32, h: f16, v: vec3f, a: array<vec4f, 2> }");
    const UniformProxy block = buffer.GetBlock(0);
    block.GetVariable("i").SetInt(1);
    block.GetVariable("u").SetUInt(2);

    const LogRecorder log;
    block.GetVariable("i").SetFloat(9);
    CHECK(log.Contains("\"i\" of type i32 cannot hold this value of type f32."));
    block.GetVariable("i").SetUInt(3'000'000'000u);
    block.GetVariable("u").SetInt(-1);
    CHECK(log.Contains("\"u\" of type u32 cannot hold this value of type i32."));
    block.GetVariable("h").SetFloat(70000);
    block.GetVariable("v").SetVec4({1, 2, 3, 4});
    CHECK(log.Contains("\"v\" of type vec3<f32> does not take a value of type vec4<f32>."));
    block.GetVariable("v").SetFloat(1);
    block.GetVariable("f").SetMat4(glm::mat4(1));
    CHECK(log.Contains("mat4x4<f32>"));
    block.GetVariable("a").SetVec4({1, 1, 1, 1});
    block.SetFloat(1);
    CHECK(log.lines.size() == 9);

    const std::vector<std::uint32_t> words = Uploaded<std::uint32_t>(buffer);
    CHECK(words[1] == 1);
    CHECK(words[2] == 2);
    for (std::size_t i = 3; i < words.size(); ++i)
        CHECK(words[i] == 0);
}

TEST_CASE("Unknown names, elements and members of what has none are errors in the log")
{
    const UniformBuffer buffer = MakeBuffer("U", "struct U { radius: f32, weights: array<vec4f, 2> }");
    const UniformProxy block = buffer.GetBlock(0);
    const LogRecorder log;
    block.GetVariable("Radius").SetFloat(1);
    CHECK(log.Contains("The uniform \"uniforms\" has no member \"Radius\"."));
    block.GetVariable("radius").GetVariable("x").SetFloat(1);
    CHECK(log.Contains("The uniform \"radius\" of type f32 has no member \"x\"."));
    block.GetVariable("radius").GetElement(0).SetFloat(1);
    CHECK(log.Contains("The uniform \"radius\" of type f32 is not an array."));
    block.GetVariable("weights").GetElement(2).SetVec4({1, 1, 1, 1});
    CHECK(log.Contains("The uniform \"weights\" has 2 elements, and element 2 is not one of them."));
    CHECK(log.lines.size() == 4);
}

TEST_CASE("A block outside the buffer ignores what is written")
{
    UniformBuffer buffer = MakeBuffer("f32", {}, 2);
    const LogRecorder log;
    buffer.GetBlock(2).SetFloat(1);
    buffer.GetBlock(1).SetFloat(2);
    const std::vector<float> floats = Uploaded(buffer);
    CHECK(log.lines.empty());
    REQUIRE(floats.size() == 128);
    CHECK(floats[0] == 0);
    CHECK(floats[64] == 2);
}

TEST_CASE("The first upload writes everything, later ones what changed, and none when nothing did")
{
    UniformBuffer buffer = MakeBuffer("vec4f", {}, 4);
    const auto uploadedBytes = [&]
    {
        const std::uint64_t before = Graphics::GetCounters().bytesUploaded;
        buffer.UploadChanges();
        return Graphics::GetCounters().bytesUploaded - before;
    };
    CHECK(uploadedBytes() == 1024);
    CHECK(uploadedBytes() == 0);

    buffer.GetBlock(1).SetVec4({1, 2, 3, 4});
    CHECK(uploadedBytes() == 16);
    buffer.GetBlock(1).SetVec4({1, 2, 3, 4}); // the same again
    CHECK(uploadedBytes() == 0);

    buffer.GetBlock(3).SetVec4({5, 6, 7, 8});
    buffer.GetBlock(2).SetVec4({5, 6, 7, 8});
    CHECK(uploadedBytes() == 256 + 16); // from block 2 to the end of block 3's vector
    const std::vector<float> floats = ReadBuffer<float>(buffer.GetBuffer());
    CHECK(floats[64] == 1);
    CHECK(floats[128] == 5);
    CHECK(floats[192 + 3] == 8);
}

TEST_CASE("What was not uploaded stays on the CPU")
{
    UniformBuffer buffer = MakeBuffer("f32");
    buffer.GetBlock(0).SetFloat(1);
    CHECK(ReadBuffer<float>(buffer.GetBuffer())[0] == 0);
    CHECK(Uploaded(buffer)[0] == 1);
    buffer.GetBlock(0).SetFloat(2);
    CHECK(ReadBuffer<float>(buffer.GetBuffer())[0] == 1);
}

TEST_CASE("Copies of a uniform buffer share it")
{
    UniformBuffer buffer = MakeBuffer("f32");
    const UniformBuffer copy = buffer;
    copy.GetBlock(0).SetFloat(3);
    CHECK(Uploaded(buffer)[0] == 3);
    CHECK(copy.GetBuffer() == buffer.GetBuffer());
}

TEST_CASE("A uniform buffer comes back whole on a new device")
{
    UniformBuffer buffer = MakeBuffer("f32");
    buffer.GetBlock(0).SetFloat(4);
    CHECK(Uploaded(buffer)[0] == 4);
    Graphics::Shutdown();
    CHECK(Uploaded(buffer)[0] == 4);
}
