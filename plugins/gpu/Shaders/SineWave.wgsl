// Sine Wave: stripes, rings or spokes, in units in which the width of the texture is two pi.

struct Uniforms
{
    transform: mat4x4<f32>, // from the texture to the pattern
    viewport: vec2<f32>,    // the size of the texture in the pattern's units
    offset: f32,
    amplitude: f32,
    frequency: f32,
    phase: f32,
    shape: i32,       // 1 concentric, 2 radial, else flat
    alphaSignal: f32, // 1: alpha follows the wave, 0: opaque
}

@group(0) @binding(0) var<uniform> uniforms: Uniforms;

struct VertexOutput
{
    @builtin(position) clip_position: vec4<f32>,
    @location(0) samplePosition: vec3<f32>,
}

@vertex
fn vertex(@location(0) position: vec2<f32>) -> VertexOutput
{
    let pixel = position * uniforms.viewport / 2.0;
    var out: VertexOutput;
    out.clip_position = vec4<f32>(position, 0.0, 1.0);
    out.samplePosition = (uniforms.transform * vec4<f32>(pixel, 0.0, 1.0)).xyz;
    return out;
}

@fragment
fn fragment(@location(0) samplePosition: vec3<f32>) -> @location(0) vec4<f32>
{
    let s = samplePosition;
    var t: f32;
    switch uniforms.shape
    {
        case 1: { t = sqrt(s.x * s.x + s.y * s.y); }
        case 2: { t = atan2(s.y, s.x); }
        default: { t = s.x; }
    }
    let value = uniforms.amplitude * sin(uniforms.frequency * t + uniforms.phase) + uniforms.offset;
    let alpha = uniforms.alphaSignal * value + (1.0 - uniforms.alphaSignal);
    return vec4<f32>(value, value, value, alpha);
}
