// Blend as its table reads, one channel after the other: what the operator's shader is compared with.

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

fn blendValues(a: f32, b: f32) -> f32
{
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
        case BLEND_MODE_OVERLAY:
        {
            if a < 0.5 { return 2.0 * a * b; }
            return 1.0 - 2.0 * (1.0 - a) * (1.0 - b);
        }
        case BLEND_MODE_HARD_LIGHT:
        {
            if b < 0.5 { return 2.0 * a * b; }
            return 1.0 - 2.0 * (1.0 - a) * (1.0 - b);
        }
        case BLEND_MODE_SOFT_LIGHT:
        {
            if b <= 0.5 { return a - (1.0 - 2.0 * b) * a * (1.0 - a); }
            var d = sqrt(a);
            if a <= 0.25 { d = ((16.0 * a - 12.0) * a + 4.0) * a; }
            return a + (2.0 * b - 1.0) * (d - a);
        }
        case BLEND_MODE_EXCLUSION: { return a + b - 2.0 * a * b; }
        case BLEND_MODE_COLOR_DODGE: { return clamp(a / (1.0 - b), 0.0, 1.0); }
        case BLEND_MODE_COLOR_BURN: { return clamp(1.0 - (1.0 - a) / b, 0.0, 1.0); }
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
        var alpha = overAlpha;
        if uniforms.blendAlpha != 0 { alpha = blendValues(s1.a, s2.a); }
        result = vec4<f32>(blendValues(s1.r, s2.r), blendValues(s1.g, s2.g), blendValues(s1.b, s2.b), alpha);
    }
    return mix(s2, result, mask);
}
