// Straighten: colors that were multiplied by alpha as they were before.

@group(0) @binding(0) var premultiplied: texture_2d<f32>;
@group(0) @binding(1) var nearest: sampler;

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
    let color = textureSampleLevel(premultiplied, nearest, corner.uv, 0.0);
    return vec4<f32>(color.rgb / max(color.a, 0.0001), color.a);
}
