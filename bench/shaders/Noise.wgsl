// Noise as its formula reads: what the operator's shaders are compared with.

struct Uniforms
{
    noiseTransform: mat4x4<f32>,
    repetition: vec3<f32>,
    noiseRotation: f32,
    offset: f32,
    amplitude: f32,
    _p0: f32,
    _p1: f32,
}

@group(0) @binding(0) var<uniform> uniforms: Uniforms;

struct VertexOutput
{
    @builtin(position) clip_position: vec4<f32>,
    @location(0) noisePosition: vec3<f32>,
}

@vertex
fn vs_main(@location(0) position: vec2<f32>) -> VertexOutput
{
    var out: VertexOutput;
    out.clip_position = vec4<f32>(position, 0.0, 1.0);
    out.noisePosition = (uniforms.noiseTransform * vec4<f32>(position, 0.0, 1.0)).xyz;
    return out;
}

fn mod289(x: vec4<f32>) -> vec4<f32>
{
    return x - floor(x / 289.0) * 289.0;
}

fn permute(t: vec4<f32>) -> vec4<f32>
{
    return mod289((mod289(t) * 34.0 + 10.0) * mod289(t));
}

fn psrnoise(x: vec3<f32>, period: vec3<f32>, alpha: f32) -> f32
{
    let skew = mat3x3<f32>(0.0, 1.0, 1.0, 1.0, 0.0, 1.0, 1.0, 1.0, 0.0);
    let unskew = mat3x3<f32>(-0.5, 0.5, 0.5, 0.5, -0.5, 0.5, 0.5, 0.5, -0.5);
    let uvw = skew * x;
    var i0 = floor(uvw);
    let f0 = uvw - i0;
    let greater = step(f0.xyx, f0.yzz);
    let lesser = 1.0 - greater;
    let g = vec3<f32>(lesser.z, greater.x, greater.y);
    let l = vec3<f32>(lesser.x, lesser.y, greater.z);
    var i1 = i0 + min(g, l);
    var i2 = i0 + max(g, l);
    var i3 = i0 + vec3<f32>(1.0);
    let x0 = x - unskew * i0;
    let x1 = x - unskew * i1;
    let x2 = x - unskew * i2;
    let x3 = x - unskew * i3;
    if any(period > vec3<f32>(0.0))
    {
        var vx = vec4<f32>((x - x0).x, (x - x1).x, (x - x2).x, (x - x3).x);
        var vy = vec4<f32>((x - x0).y, (x - x1).y, (x - x2).y, (x - x3).y);
        var vz = vec4<f32>((x - x0).z, (x - x1).z, (x - x2).z, (x - x3).z);
        if period.x > 0.0 { vx -= floor(vx / period.x) * period.x; }
        if period.y > 0.0 { vy -= floor(vy / period.y) * period.y; }
        if period.z > 0.0 { vz -= floor(vz / period.z) * period.z; }
        i0 = floor(skew * vec3<f32>(vx.x, vy.x, vz.x) + 0.5);
        i1 = floor(skew * vec3<f32>(vx.y, vy.y, vz.y) + 0.5);
        i2 = floor(skew * vec3<f32>(vx.z, vy.z, vz.z) + 0.5);
        i3 = floor(skew * vec3<f32>(vx.w, vy.w, vz.w) + 0.5);
    }
    let hash = permute(permute(permute(vec4<f32>(i0.z, i1.z, i2.z, i3.z)) + vec4<f32>(i0.y, i1.y, i2.y, i3.y)) +
                       vec4<f32>(i0.x, i1.x, i2.x, i3.x));
    let theta = hash * 3.883222077;
    let sz = hash * -0.006920415 + 0.996539792;
    let psi = hash * 0.108705628;
    let ct = cos(theta);
    let st = sin(theta);
    let szPrime = sqrt(1.0 - sz * sz);
    var gx = ct * szPrime;
    var gy = st * szPrime;
    var gz = sz;
    if alpha != 0.0
    {
        let px = gx;
        let py = gy;
        let sp = sin(psi);
        let cp = cos(psi);
        let ctp = st * sp - ct * cp;
        let qx = mix(ctp * st, sp, sz);
        let qy = mix(-ctp * ct, cp, sz);
        let qz = -(py * cp + px * sp);
        gx = cos(alpha) * px + sin(alpha) * qx;
        gy = cos(alpha) * py + sin(alpha) * qy;
        gz = cos(alpha) * sz + sin(alpha) * qz;
    }
    let w = max(0.5 - vec4<f32>(dot(x0, x0), dot(x1, x1), dot(x2, x2), dot(x3, x3)), vec4<f32>(0.0));
    let gdotx = vec4<f32>(dot(vec3<f32>(gx.x, gy.x, gz.x), x0), dot(vec3<f32>(gx.y, gy.y, gz.y), x1),
                          dot(vec3<f32>(gx.z, gy.z, gz.z), x2), dot(vec3<f32>(gx.w, gy.w, gz.w), x3));
    return 39.5 * dot(w * w * w, gdotx);
}

@fragment
fn fs_main(in: VertexOutput) -> @location(0) vec4<f32>
{
    let noise = psrnoise(in.noisePosition, uniforms.repetition, uniforms.noiseRotation);
    let value = noise * uniforms.amplitude + uniforms.offset;
    return vec4<f32>(value, value, value, 1.0);
}
