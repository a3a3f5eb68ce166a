// Straighten: colors that were multiplied by alpha as they were before.

#include "Varkle/FullScreen.wgsl"

@group(0) @binding(0) var premultiplied: texture_2d<f32>;
@group(0) @binding(1) var nearest: sampler;

@fragment
fn fs_main(corner: Corner) -> @location(0) vec4<f32>
{
    let color = textureSampleLevel(premultiplied, nearest, corner.uv, 0.0);
    return vec4<f32>(color.rgb / max(color.a, 0.0001), color.a);
}
