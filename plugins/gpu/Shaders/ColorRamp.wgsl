// Color Ramp: one channel of the input is the position on a gradient between two colors. Positions outside 0 to 1
// extrapolate. Colors are sRGB-encoded; only the OKLab mode works on linear light.

struct UniformsStruct
{
    colorA: vec4<f32>,
    colorB: vec4<f32>,
    channel: u32, // 0 to 3: red, green, blue, alpha
    mode: u32,    // 0 RGB, 1 HSV, 2 HSL, else OKLab
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

// The hue in turns; delta is the difference of the largest and the smallest channel.
fn hue_of(c: vec3<f32>, cmax: f32, delta: f32) -> f32
{
    if delta == 0.0
    {
        return 0.0;
    }
    var h: f32;
    if cmax == c.r
    {
        h = (c.g - c.b) / delta + select(0.0, 6.0, c.g < c.b);
    }
    else if cmax == c.g
    {
        h = (c.b - c.r) / delta + 2.0;
    }
    else
    {
        h = (c.r - c.g) / delta + 4.0;
    }
    return h / 6.0;
}

// Takes the short way round the circle.
fn lerp_hue(a: f32, b: f32, t: f32) -> f32
{
    let d = b - a;
    return fract(a + t * (d - round(d)));
}

fn rgb_to_hsv(c: vec3<f32>) -> vec3<f32>
{
    let cmax = max(max(c.r, c.g), c.b);
    let delta = cmax - min(min(c.r, c.g), c.b);
    var s = 0.0;
    if cmax > 0.0
    {
        s = delta / cmax;
    }
    return vec3<f32>(hue_of(c, cmax, delta), s, cmax);
}

fn hsv_to_rgb(hsv: vec3<f32>) -> vec3<f32>
{
    let h = fract(hsv.x) * 6.0;
    let s = hsv.y;
    let v = hsv.z;
    let f = h - floor(h);
    let p = v * (1.0 - s);
    let q = v * (1.0 - s * f);
    let t = v * (1.0 - s * (1.0 - f));
    switch i32(floor(h)) % 6
    {
        case 0: { return vec3<f32>(v, t, p); }
        case 1: { return vec3<f32>(q, v, p); }
        case 2: { return vec3<f32>(p, v, t); }
        case 3: { return vec3<f32>(p, q, v); }
        case 4: { return vec3<f32>(t, p, v); }
        default: { return vec3<f32>(v, p, q); }
    }
}

fn rgb_to_hsl(c: vec3<f32>) -> vec3<f32>
{
    let cmax = max(max(c.r, c.g), c.b);
    let cmin = min(min(c.r, c.g), c.b);
    let delta = cmax - cmin;
    let l = (cmax + cmin) / 2.0;
    if delta <= 0.0
    {
        return vec3<f32>(0.0, 0.0, l);
    }
    return vec3<f32>(hue_of(c, cmax, delta), delta / (1.0 - abs(2.0 * l - 1.0)), l);
}

fn hsl_hue_to_rgb(p: f32, q: f32, hue: f32) -> f32
{
    var t = hue;
    if t < 0.0 { t += 1.0; }
    if t > 1.0 { t -= 1.0; }
    if t < 1.0 / 6.0 { return p + (q - p) * 6.0 * t; }
    if t < 0.5 { return q; }
    if t < 2.0 / 3.0 { return p + (q - p) * (2.0 / 3.0 - t) * 6.0; }
    return p;
}

fn hsl_to_rgb(hsl: vec3<f32>) -> vec3<f32>
{
    let h = hsl.x;
    let s = hsl.y;
    let l = hsl.z;
    if s < 0.001
    {
        return vec3<f32>(l);
    }
    let q = select(l + s - l * s, l * (1.0 + s), l < 0.5);
    let p = 2.0 * l - q;
    return vec3<f32>(hsl_hue_to_rgb(p, q, h + 1.0 / 3.0), hsl_hue_to_rgb(p, q, h), hsl_hue_to_rgb(p, q, h - 1.0 / 3.0));
}

// The transfer functions of IEC 61966-2-1 (sRGB).
fn srgb_to_linear(c: vec3<f32>) -> vec3<f32>
{
    return select(pow((c + 0.055) / 1.055, vec3<f32>(2.4)), c / 12.92, c <= vec3<f32>(0.04045));
}

fn linear_to_srgb(c: vec3<f32>) -> vec3<f32>
{
    return select(1.055 * pow(c, vec3<f32>(1.0 / 2.4)) - 0.055, c * 12.92, c <= vec3<f32>(0.0031308));
}

fn cbrt(x: vec3<f32>) -> vec3<f32>
{
    return sign(x) * pow(abs(x), vec3<f32>(1.0 / 3.0));
}

// Bjorn Ottosson, "A perceptual color space for image processing" (2020); from and to linear sRGB.
fn rgb_to_oklab(c: vec3<f32>) -> vec3<f32>
{
    let l = 0.4122214708 * c.r + 0.5363325363 * c.g + 0.0514459929 * c.b;
    let m = 0.2119034982 * c.r + 0.6806995451 * c.g + 0.1073969566 * c.b;
    let s = 0.0883024619 * c.r + 0.2817188376 * c.g + 0.6299787005 * c.b;
    let lms = cbrt(vec3<f32>(l, m, s));
    return vec3<f32>(0.2104542553 * lms.x + 0.7936177850 * lms.y - 0.0040720468 * lms.z,
                     1.9779984951 * lms.x - 2.4285922050 * lms.y + 0.4505937099 * lms.z,
                     0.0259040371 * lms.x + 0.7827717662 * lms.y - 0.8086757660 * lms.z);
}

fn oklab_to_rgb(lab: vec3<f32>) -> vec3<f32>
{
    let l = lab.x + 0.3963377774 * lab.y + 0.2158037573 * lab.z;
    let m = lab.x - 0.1055613458 * lab.y - 0.0638541728 * lab.z;
    let s = lab.x - 0.0894841775 * lab.y - 1.2914855480 * lab.z;
    let lms = vec3<f32>(l * l * l, m * m * m, s * s * s);
    return vec3<f32>(4.0767416621 * lms.x - 3.3077115913 * lms.y + 0.2309699292 * lms.z,
                     -1.2684380046 * lms.x + 2.6097574011 * lms.y - 0.3413193965 * lms.z,
                     -0.0041960863 * lms.x - 0.7034186147 * lms.y + 1.7076147010 * lms.z);
}

fn interpolate_colors(a: vec4<f32>, b: vec4<f32>, t: f32, mode: u32) -> vec4<f32>
{
    var rgb: vec3<f32>;
    switch mode
    {
        case 0u:
        {
            rgb = mix(a.rgb, b.rgb, t);
        }
        case 1u:
        {
            let first = rgb_to_hsv(a.rgb);
            let last = rgb_to_hsv(b.rgb);
            rgb = hsv_to_rgb(vec3<f32>(lerp_hue(first.x, last.x, t), mix(first.yz, last.yz, t)));
        }
        case 2u:
        {
            let first = rgb_to_hsl(a.rgb);
            let last = rgb_to_hsl(b.rgb);
            rgb = hsl_to_rgb(vec3<f32>(lerp_hue(first.x, last.x, t), mix(first.yz, last.yz, t)));
        }
        default:
        {
            let first = rgb_to_oklab(srgb_to_linear(a.rgb));
            let last = rgb_to_oklab(srgb_to_linear(b.rgb));
            rgb = linear_to_srgb(oklab_to_rgb(mix(first, last, t)));
        }
    }
    return vec4<f32>(rgb, mix(a.a, b.a, t));
}

@fragment
fn fs_main(in: FragmentInput) -> @location(0) vec4<f32>
{
    let t = textureSample(textureIn, samplerIn, in.uv)[uniforms.channel];
    return interpolate_colors(uniforms.colorA, uniforms.colorB, t, uniforms.mode);
}
