// Lookup UV: each pixel fetched from the place that the second texture's first two channels name.

@group(0) @binding(0) var inputTexture: texture_2d<f32>;
@group(0) @binding(1) var inputSampler: sampler;
@group(0) @binding(2) var uvTexture: texture_2d<f32>;
@group(0) @binding(3) var uvSampler: sampler;

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
    let uv = textureSample(uvTexture, uvSampler, in.uv).xy;
    return textureSample(inputTexture, inputSampler, uv);
}
