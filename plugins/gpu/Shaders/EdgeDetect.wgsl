// Edge Detect: the length of the luminance's gradient, by the Sobel operator, in all four channels.
// Luminance weights: ITU-R BT.709.

struct UniformsStruct
{
    step: vec2<f32>, // to the neighbors, in texture coordinates
    threshold: f32,
    strength: f32,
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

fn luminance(uv: vec2<f32>) -> f32
{
    return dot(textureSample(textureIn, samplerIn, uv).rgb, vec3<f32>(0.2126, 0.7152, 0.0722));
}

@fragment
fn fs_main(in: FragmentInput) -> @location(0) vec4<f32>
{
    let s = uniforms.step;
    let tl = luminance(in.uv + vec2<f32>(-s.x, -s.y));
    let tc = luminance(in.uv + vec2<f32>(0.0, -s.y));
    let tr = luminance(in.uv + vec2<f32>(s.x, -s.y));
    let ml = luminance(in.uv + vec2<f32>(-s.x, 0.0));
    let mr = luminance(in.uv + vec2<f32>(s.x, 0.0));
    let bl = luminance(in.uv + vec2<f32>(-s.x, s.y));
    let bc = luminance(in.uv + vec2<f32>(0.0, s.y));
    let br = luminance(in.uv + vec2<f32>(s.x, s.y));
    let gx = -tl - 2.0 * ml - bl + tr + 2.0 * mr + br;
    let gy = -tl - 2.0 * tc - tr + bl + 2.0 * bc + br;
    return vec4<f32>(max(0.0, sqrt(gx * gx + gy * gy) - uniforms.threshold) * uniforms.strength);
}
