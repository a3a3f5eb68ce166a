// Channel Shuffle: each channel of the output from a channel of one of four textures, or fixed at 0 or 1.

struct UniformsStruct
{
    redInput: i32, // 0 to 3
    greenInput: i32,
    blueInput: i32,
    alphaInput: i32,
    redChannel: i32, // 0 to 3: red, green, blue, alpha; 4: zero; else one
    greenChannel: i32,
    blueChannel: i32,
    alphaChannel: i32,
}

@group(0) @binding(0) var<uniform> uniforms: UniformsStruct;
@group(1) @binding(0) var textureIn1: texture_2d<f32>;
@group(1) @binding(1) var samplerIn1: sampler;
@group(1) @binding(2) var textureIn2: texture_2d<f32>;
@group(1) @binding(3) var samplerIn2: sampler;
@group(1) @binding(4) var textureIn3: texture_2d<f32>;
@group(1) @binding(5) var samplerIn3: sampler;
@group(1) @binding(6) var textureIn4: texture_2d<f32>;
@group(1) @binding(7) var samplerIn4: sampler;

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

fn isUsed(input: i32) -> bool
{
    return uniforms.redInput == input || uniforms.greenInput == input || uniforms.blueInput == input ||
           uniforms.alphaInput == input;
}

fn extractChannel(color: vec4<f32>, channel: i32) -> f32
{
    switch channel
    {
        case 0: { return color.r; }
        case 1: { return color.g; }
        case 2: { return color.b; }
        case 3: { return color.a; }
        case 4: { return 0.0; }
        default: { return 1.0; }
    }
}

@fragment
fn fs_main(in: FragmentInput) -> @location(0) vec4<f32>
{
    // Only what is used is sampled; the conditions are the same for all pixels.
    var samples: array<vec4<f32>, 4>;
    if isUsed(0) { samples[0] = textureSample(textureIn1, samplerIn1, in.uv); }
    if isUsed(1) { samples[1] = textureSample(textureIn2, samplerIn2, in.uv); }
    if isUsed(2) { samples[2] = textureSample(textureIn3, samplerIn3, in.uv); }
    if isUsed(3) { samples[3] = textureSample(textureIn4, samplerIn4, in.uv); }
    return vec4<f32>(extractChannel(samples[uniforms.redInput], uniforms.redChannel),
                     extractChannel(samples[uniforms.greenInput], uniforms.greenChannel),
                     extractChannel(samples[uniforms.blueInput], uniforms.blueChannel),
                     extractChannel(samples[uniforms.alphaInput], uniforms.alphaChannel));
}
