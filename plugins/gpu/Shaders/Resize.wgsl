// Resize: the picture stretched, fitted, filled or centered in a frame of another size; transparent black beside it.

struct UniformsStruct
{
    outputSize: vec2<f32>, // in pixels
    fitMode: u32,          // 0 stretch, 1 fit, 2 fill, else center
    _padding: u32,
    alignment: vec2<f32>,  // 0 left or top, 0.5 center, 1 right or bottom
    _p0: f32,
    _p1: f32,
}

@group(0) @binding(0) var<uniform> uniforms: UniformsStruct;
@group(1) @binding(0) var textureIn: texture_2d<f32>;
@group(1) @binding(1) var samplerIn: sampler;

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

@vertex
fn vs_main(in: VertexInput) -> VertexOutput
{
    var out: VertexOutput;
    out.clip_position = vec4<f32>(in.position, 0.0, 1.0);
    out.uv = vec2<f32>(0.5 * (in.position.x + 1.0), 0.5 * (1.0 - in.position.y));
    return out;
}

// How much larger than its pixels the picture is shown.
fn scaleOf(inputSize: vec2<f32>) -> f32
{
    let scale = uniforms.outputSize / inputSize;
    switch uniforms.fitMode
    {
        case 1u: { return min(scale.x, scale.y); }
        case 2u: { return max(scale.x, scale.y); }
        default: { return 1.0; }
    }
}

@fragment
fn fs_main(in: FragmentInput) -> @location(0) vec4<f32>
{
    var inputUV = in.uv;
    if uniforms.fitMode != 0u
    {
        let inputSize = vec2<f32>(textureDimensions(textureIn, 0));
        let covered = inputSize * scaleOf(inputSize) / uniforms.outputSize; // share of the output
        let offset = (1.0 - covered) * uniforms.alignment;
        inputUV = (in.uv - offset) / covered;
    }
    let color = textureSample(textureIn, samplerIn, clamp(inputUV, vec2<f32>(0.0), vec2<f32>(1.0)));
    let isOutside = any(inputUV < vec2<f32>(0.0)) || any(inputUV > vec2<f32>(1.0));
    return select(color, vec4<f32>(0.0), isOutside);
}
