// Blur Final: the second direction of a Gaussian blur, mixed with the unblurred picture where the mask's red is low.
// The kernel is that of Blur.wgsl.

struct UniformsStruct
{
    step: vec2<f32>, // from one tap to the next, in texture coordinates
    radius: f32,     // in taps, 0 to 64
    _padding: f32,
}

@group(0) @binding(0) var<uniform> uniforms: UniformsStruct;
@group(1) @binding(0) var textureIn: texture_2d<f32>;
@group(1) @binding(1) var samplerIn: sampler;
@group(2) @binding(0) var textureOriginal: texture_2d<f32>;
@group(2) @binding(1) var samplerOriginal: sampler;
@group(3) @binding(0) var textureMask: texture_2d<f32>;
@group(3) @binding(1) var samplerMask: sampler;

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

fn tap(uv: vec2<f32>, position: f32) -> vec4<f32>
{
    return textureSampleLevel(textureIn, samplerIn, uv + uniforms.step * position, 0.0);
}

// The Gaussian's bell at a distance in taps.
fn weightAt(position: f32, sigma: f32) -> f32
{
    let x = position / sigma;
    return exp(-0.5 * x * x);
}

struct Taps
{
    color: vec4<f32>,
    weight: f32,
}

fn oneTap(uv: vec2<f32>, position: f32, sigma: f32) -> Taps
{
    let w = weightAt(position, sigma);
    return Taps(w * (tap(uv, position) + tap(uv, -position)), 2.0 * w);
}

fn twoTaps(uv: vec2<f32>, position: f32, sigma: f32, canPair: bool) -> Taps
{
    let w0 = weightAt(position, sigma);
    let w1 = weightAt(position + 1.0, sigma);
    let w = w0 + w1;
    if canPair
    {
        let between = position + w1 / w;
        return Taps(w * (tap(uv, between) + tap(uv, -between)), 2.0 * w);
    }
    let first = tap(uv, position) + tap(uv, -position);
    let second = tap(uv, position + 1.0) + tap(uv, -position - 1.0);
    return Taps(w0 * first + w1 * second, 2.0 * w);
}

// Both sides of the kernel share their weights, and four taps a side are taken at a time, since the loop costs, too.
// Where the taps lie on texels, one linear sample between two of them fetches both in the right proportion. Samplers
// know 256 places between texels: many taps hide that error (it stays below 1/255 a pass), few would not.
fn blurred(uv: vec2<f32>) -> vec4<f32>
{
    let sigma = max(uniforms.radius / 3.0, 0.001);
    let n = i32(ceil(uniforms.radius));
    let texelsPerTap = dot(uniforms.step, vec2<f32>(textureDimensions(textureIn)));
    let canPair = n >= 8 && abs(texelsPerTap - 1.0) < 1e-4;
    var sum = Taps(tap(uv, 0.0), 1.0);
    var i = 1;
    for (; i + 3 <= n; i += 4)
    {
        let first = twoTaps(uv, f32(i), sigma, canPair);
        let second = twoTaps(uv, f32(i + 2), sigma, canPair);
        sum = Taps(sum.color + first.color + second.color, sum.weight + first.weight + second.weight);
    }
    for (; i <= n; i++)
    {
        let last = oneTap(uv, f32(i), sigma);
        sum = Taps(sum.color + last.color, sum.weight + last.weight);
    }
    return sum.color / sum.weight;
}

@fragment
fn fs_main(in: FragmentInput) -> @location(0) vec4<f32>
{
    let original = textureSample(textureOriginal, samplerOriginal, in.uv);
    let mask = textureSample(textureMask, samplerMask, in.uv).r;
    return mix(original, blurred(in.uv), mask);
}
