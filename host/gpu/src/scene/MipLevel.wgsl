// Mip Level: a texture at half its size.

#include "Varkle/FullScreen.wgsl"

@group(0) @binding(0) var larger: texture_2d<f32>;
@group(0) @binding(1) var linear: sampler;

@fragment
fn fs_main(corner: Corner) -> @location(0) vec4<f32>
{
    return textureSampleLevel(larger, linear, corner.uv, 0.0);
}
