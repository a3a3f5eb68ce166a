// Window: a picture in a window. Each pixel averages the picture's area under it, of at least one texel, so that a
// picture that grows is interpolated, one that shrinks loses nothing, and one of the same size stays as it is.

#include "Varkle/FullScreen.wgsl"

struct Placing
{
    corner: vec2<f32>, // of the picture in the window, in pixels
    scale: vec2<f32>,  // texels per pixel
    area: vec2<f32>,   // under a pixel, in texels
    texel: vec2<f32>,  // its size in texture coordinates
    exact: u32,        // 1: each pixel is a texel
    opaque: u32,       // 1: what is not opaque lies over black
}

@group(0) @binding(0) var<uniform> placing: Placing;
@group(0) @binding(1) var picture: texture_2d<f32>;
@group(0) @binding(2) var nearest: sampler;

// What a screen can show of a texel: what is not a number is black.
fn clampToScreen(texel: vec4<f32>) -> vec4<f32>
{
    let magnitude = bitcast<vec4<u32>>(texel) & vec4<u32>(0x7fffffffu);
    return clamp(select(texel, vec4<f32>(0.0), magnitude > vec4<u32>(0x7f800000u)), vec4<f32>(0.0), vec4<f32>(1.0));
}

// A texel by its number, multiplied by its alpha.
fn texelAt(x: f32, y: f32) -> vec4<f32>
{
    let color = clampToScreen(textureSampleLevel(picture, nearest, (vec2<f32>(x, y) + 0.5) * placing.texel, 0.0));
    return vec4<f32>(color.rgb * color.a, color.a);
}

// The picture's area that begins there.
fn average(begin: vec2<f32>) -> vec4<f32>
{
    let first = floor(begin);
    if (placing.exact == 1u)
    {
        return texelAt(first.x, first.y);
    }
    if (all(placing.area == vec2<f32>(1.0))) // without the loops it takes a third less
    {
        let share = begin - first;
        return mix(mix(texelAt(first.x, first.y), texelAt(first.x + 1.0, first.y), share.x),
            mix(texelAt(first.x, first.y + 1.0), texelAt(first.x + 1.0, first.y + 1.0), share.x), share.y);
    }
    let end = begin + placing.area;
    var sum = vec4<f32>(0.0);
    for (var y = first.y; y < end.y; y += 1.0)
    {
        let height = min(y + 1.0, end.y) - max(y, begin.y);
        for (var x = first.x; x < end.x; x += 1.0)
        {
            let width = min(x + 1.0, end.x) - max(x, begin.x);
            sum += width * height * texelAt(x, y);
        }
    }
    return sum / (placing.area.x * placing.area.y);
}

@fragment
fn fs_main(pixel: Corner) -> @location(0) vec4<f32>
{
    let color = average((pixel.position.xy - placing.corner) * placing.scale - 0.5 * placing.area);
    return select(color, vec4<f32>(color.rgb, 1.0), placing.opaque == 1u);
}
