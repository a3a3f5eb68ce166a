// Gray Scale: one gray value in red, green and blue; alpha passes through.
// Luminance weights: ITU-R BT.709.

struct UniformsStruct
{
    method: u32, // 0 luminance, 1 average, 2 brightest, else darkest
    _p0: u32,
    _p1: u32,
    _p2: u32,
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
    var gray: f32;
    switch uniforms.method
    {
        case 0u: { gray = dot(c.rgb, vec3<f32>(0.2126, 0.7152, 0.0722)); }
        case 1u: { gray = (c.r + c.g + c.b) / 3.0; }
        case 2u: { gray = max(max(c.r, c.g), c.b); }
        default: { gray = min(min(c.r, c.g), c.b); }
    }
    return vec4<f32>(gray, gray, gray, c.a);
}
