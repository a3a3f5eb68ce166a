// Full Screen: one triangle that covers the target, with texture coordinates from its top left to its bottom right.

struct Corner
{
    @builtin(position) position: vec4<f32>,
    @location(0) uv: vec2<f32>,
}

@vertex
fn vs_main(@builtin(vertex_index) index: u32) -> Corner
{
    let uv = vec2<f32>(select(0.0, 2.0, index == 1u), select(0.0, 2.0, index == 2u));
    return Corner(vec4<f32>(2.0 * uv.x - 1.0, 1.0 - 2.0 * uv.y, 0.0, 1.0), uv);
}
