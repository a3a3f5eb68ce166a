// Mip Level: a texture at half its size.

@group(0) @binding(0) var larger: texture_2d<f32>;
@group(0) @binding(1) var linear: sampler;

struct Corner
{
    @builtin(position) position: vec4<f32>,
    @location(0) uv: vec2<f32>,
}

// One triangle that covers the target.
@vertex
fn vs_main(@builtin(vertex_index) index: u32) -> Corner
{
    let uv = vec2<f32>(select(0.0, 2.0, index == 1u), select(0.0, 2.0, index == 2u));
    return Corner(vec4<f32>(2.0 * uv.x - 1.0, 1.0 - 2.0 * uv.y, 0.0, 1.0), uv);
}

@fragment
fn fs_main(corner: Corner) -> @location(0) vec4<f32>
{
    return textureSampleLevel(larger, linear, corner.uv, 0.0);
}
