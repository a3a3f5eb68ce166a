// Cross Fader: two neighboring textures of the list, mixed.

struct UniformsStruct
{
    faderPosition: f32, // 0 shows the first, 1 the second
}

@group(0) @binding(0) var<uniform> uniforms: UniformsStruct;
@group(1) @binding(0) var textureIn1: texture_2d<f32>;
@group(1) @binding(1) var samplerIn1: sampler;
@group(1) @binding(2) var textureIn2: texture_2d<f32>;
@group(1) @binding(3) var samplerIn2: sampler;

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

@fragment
fn fs_main(in: FragmentInput) -> @location(0) vec4<f32>
{
    let first = textureSample(textureIn1, samplerIn1, in.uv);
    let second = textureSample(textureIn2, samplerIn2, in.uv);
    return mix(first, second, uniforms.faderPosition);
}
