// Tint: the picture times a color, in all four channels.

struct Uniforms
{
    color: vec4<f32>,
}

@group(0) @binding(0) var<uniform> uniforms: Uniforms;
@group(1) @binding(0) var textureIn: texture_2d<f32>;
@group(1) @binding(1) var samplerIn: sampler;

struct Corner
{
    @builtin(position) position: vec4<f32>,
    @location(0) uv: vec2<f32>,
}

// The corners of the pass's quad are in clip space, from -1 to 1 with y upwards; texture coordinates start at the top
// left.
@vertex
fn vs_main(@location(0) position: vec2<f32>) -> Corner
{
    let uv = vec2<f32>(0.5 * (position.x + 1.0), 0.5 * (1.0 - position.y));
    return Corner(vec4<f32>(position, 0.0, 1.0), uv);
}

@fragment
fn fs_main(in: Corner) -> @location(0) vec4<f32>
{
    return textureSample(textureIn, samplerIn, in.uv) * uniforms.color;
}
