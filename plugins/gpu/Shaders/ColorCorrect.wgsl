// Color Correct: saturation, then contrast around middle gray, then brightness. Alpha passes through.
// Luminance weights: ITU-R BT.709.

struct UniformsStruct
{
    brightness: f32,
    contrast: f32,
    saturation: f32,
    _padding: f32,
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

@fragment
fn fs_main(in: FragmentInput) -> @location(0) vec4<f32>
{
    let c = textureSample(textureIn, samplerIn, in.uv);
    let luminance = vec3<f32>(dot(c.rgb, vec3<f32>(0.2126, 0.7152, 0.0722)));
    let saturated = mix(luminance, c.rgb, uniforms.saturation);
    let contrasted = (saturated - 0.5) * uniforms.contrast + 0.5;
    return vec4<f32>(clamp(contrasted + uniforms.brightness, vec3<f32>(0.0), vec3<f32>(1.0)), c.a);
}
