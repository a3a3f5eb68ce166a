// Swizzle: the same picture with its channels rearranged.

#include "Varkle/FullScreen.wgsl"

// Where each channel of the target comes from: 0 to 3 stand for R to A, 4 for zero, 5 for one.
struct Channels
{
    red: u32,
    green: u32,
    blue: u32,
    alpha: u32,
}

@group(0) @binding(0) var<uniform> channels: Channels;
@group(0) @binding(1) var source: texture_2d<f32>;
@group(0) @binding(2) var nearest: sampler;

@fragment
fn fs_main(corner: Corner) -> @location(0) vec4<f32>
{
    let pixel = textureSampleLevel(source, nearest, corner.uv, 0.0);
    var values = array<f32, 6>(pixel.r, pixel.g, pixel.b, pixel.a, 0.0, 1.0);
    return vec4<f32>(values[channels.red], values[channels.green], values[channels.blue], values[channels.alpha]);
}
