// Blend: the foreground (a) and the background (b) combined channel by channel, where the mask's red lets it.

const BLEND_MODE_OVER: i32 = 0;
const BLEND_MODE_ADD: i32 = 1;
const BLEND_MODE_SUBTRACT: i32 = 2;
const BLEND_MODE_MULTIPLY: i32 = 3;
const BLEND_MODE_DIVIDE: i32 = 4;
const BLEND_MODE_AVERAGE: i32 = 5;
const BLEND_MODE_DIFFERENCE: i32 = 6;
const BLEND_MODE_SCREEN: i32 = 7;
const BLEND_MODE_DARKEN: i32 = 8;
const BLEND_MODE_LIGHTEN: i32 = 9;
const BLEND_MODE_OVERLAY: i32 = 10;
const BLEND_MODE_HARD_LIGHT: i32 = 11;
const BLEND_MODE_SOFT_LIGHT: i32 = 12;
const BLEND_MODE_EXCLUSION: i32 = 13;
const BLEND_MODE_COLOR_DODGE: i32 = 14;
const BLEND_MODE_COLOR_BURN: i32 = 15;

struct UniformsStruct
{
    blendMode: i32,
    blendAlpha: i32, // not 0: the mode is applied to alpha too
}

@group(0) @binding(0) var<uniform> uniforms: UniformsStruct;
@group(1) @binding(0) var textureForeground: texture_2d<f32>;
@group(1) @binding(1) var samplerForeground: sampler;
@group(1) @binding(2) var textureBackground: texture_2d<f32>;
@group(1) @binding(3) var samplerBackground: sampler;
@group(2) @binding(0) var textureMask: texture_2d<f32>;
@group(2) @binding(1) var samplerMask: sampler;

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

// Multiply where `selector` is dark, screen where it is bright.
fn multiplyOrScreen(a: vec4<f32>, b: vec4<f32>, selector: vec4<f32>) -> vec4<f32>
{
    return select(1.0 - 2.0 * (1.0 - a) * (1.0 - b), 2.0 * a * b, selector < vec4<f32>(0.5));
}

// W3C, Compositing and Blending Level 1, "softlight", with a as the backdrop.
fn softLight(a: vec4<f32>, b: vec4<f32>) -> vec4<f32>
{
    let d = select(sqrt(a), ((16.0 * a - 12.0) * a + 4.0) * a, a <= vec4<f32>(0.25));
    return select(a + (2.0 * b - 1.0) * (d - a), a - (1.0 - 2.0 * b) * a * (1.0 - a), b <= vec4<f32>(0.5));
}

// All four channels at once: the mode is the same for every pixel, so that only one branch costs time.
fn blendValues(a: vec4<f32>, b: vec4<f32>) -> vec4<f32>
{
    let black = vec4<f32>(0.0);
    let white = vec4<f32>(1.0);
    switch uniforms.blendMode
    {
        case BLEND_MODE_ADD: { return a + b; }
        case BLEND_MODE_SUBTRACT: { return a - b; }
        case BLEND_MODE_MULTIPLY: { return a * b; }
        case BLEND_MODE_DIVIDE: { return a / b; }
        case BLEND_MODE_AVERAGE: { return (a + b) / 2.0; }
        case BLEND_MODE_DIFFERENCE: { return abs(a - b); }
        case BLEND_MODE_SCREEN: { return 1.0 - (1.0 - a) * (1.0 - b); }
        case BLEND_MODE_DARKEN: { return min(a, b); }
        case BLEND_MODE_LIGHTEN: { return max(a, b); }
        case BLEND_MODE_OVERLAY: { return multiplyOrScreen(a, b, a); }
        case BLEND_MODE_HARD_LIGHT: { return multiplyOrScreen(a, b, b); }
        case BLEND_MODE_SOFT_LIGHT: { return softLight(a, b); }
        case BLEND_MODE_EXCLUSION: { return a + b - 2.0 * a * b; }
        case BLEND_MODE_COLOR_DODGE: { return clamp(a / (1.0 - b), black, white); }
        case BLEND_MODE_COLOR_BURN: { return clamp(1.0 - (1.0 - a) / b, black, white); }
        default: { return a; }
    }
}

@fragment
fn fs_main(in: FragmentInput) -> @location(0) vec4<f32>
{
    let s1 = textureSample(textureForeground, samplerForeground, in.uv);
    let s2 = textureSample(textureBackground, samplerBackground, in.uv);
    let mask = textureSample(textureMask, samplerMask, in.uv).r;

    let overAlpha = s1.a + (1.0 - s1.a) * s2.a;
    var result: vec4<f32>;
    if uniforms.blendMode == BLEND_MODE_OVER
    {
        result = vec4<f32>(s1.rgb * s1.a + s2.rgb * (1.0 - s1.a), overAlpha);
    }
    else
    {
        result = blendValues(s1, s2);
        result.a = select(overAlpha, result.a, uniforms.blendAlpha != 0);
    }
    return s2 + (result - s2) * mask;
}
