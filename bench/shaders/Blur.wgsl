// Blur as its formula reads, one tap after the other: what the operator's shader is compared with.

struct UniformsStruct
{
    step: vec2<f32>, // from one tap to the next, in texture coordinates
    radius: f32,     // in taps, 0 to 64
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

fn blurred(uv: vec2<f32>) -> vec4<f32>
{
    let sigma = max(uniforms.radius / 3.0, 0.001);
    let n = i32(ceil(uniforms.radius));
    var color = vec4<f32>(0.0);
    var weights = 0.0;
    for (var i = -n; i <= n; i++)
    {
        let x = f32(i) / sigma;
        let weight = exp(-0.5 * x * x);
        color += weight * textureSampleLevel(textureIn, samplerIn, uv + uniforms.step * f32(i), 0.0);
        weights += weight;
    }
    return color / weights;
}

@fragment
fn fs_main(in: FragmentInput) -> @location(0) vec4<f32>
{
    return blurred(in.uv);
}
