// Transform: the picture moved, turned and scaled in pixels, with the origin at the top-left corner. What lies beside it
// is the sampler's business, or transparent black.

struct UniformsStruct
{
    transform: mat4x4<f32>, // from output pixels to input pixels
    outputSize: vec2<f32>,  // in pixels
    inputSize: vec2<f32>,   // in pixels
    tilingNoneX: i32,       // 1: transparent beside the picture
    tilingNoneY: i32,       // 1: transparent above and below it
}

@group(0) @binding(0) var<uniform> uniforms: UniformsStruct;
@group(1) @binding(0) var inputTexture: texture_2d<f32>;
@group(1) @binding(1) var inputSampler: sampler;

struct VertexInput
{
    @location(0) position: vec2<f32>,
}

struct VertexOutput
{
    @builtin(position) clip_position: vec4<f32>,
    @location(0) uv: vec2<f32>,
}

struct FragmentInput
{
    @location(0) uv: vec2<f32>,
}

// The mapping is affine: interpolating between the corners gives what it would give at each pixel.
@vertex
fn vs_main(in: VertexInput) -> VertexOutput
{
    let pixel = vec2<f32>(0.5 * (in.position.x + 1.0), 0.5 * (1.0 - in.position.y)) * uniforms.outputSize;
    var out: VertexOutput;
    out.clip_position = vec4<f32>(in.position, 0.0, 1.0);
    out.uv = (uniforms.transform * vec4<f32>(pixel, 0.0, 1.0)).xy / uniforms.inputSize;
    return out;
}

@fragment
fn fs_main(in: FragmentInput) -> @location(0) vec4<f32>
{
    let color = textureSample(inputTexture, inputSampler, in.uv);
    let isOutsideX = uniforms.tilingNoneX != 0 && (in.uv.x < 0.0 || in.uv.x >= 1.0);
    let isOutsideY = uniforms.tilingNoneY != 0 && (in.uv.y < 0.0 || in.uv.y >= 1.0);
    return select(color, vec4<f32>(0.0), isOutsideX || isOutsideY);
}
