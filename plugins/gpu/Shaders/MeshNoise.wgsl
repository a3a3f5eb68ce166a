#include "Noise/PSRD3.wgsl"

// Mesh Noise: normals bent towards the gradient of noise at their vertices.

// Three floats without padding, as vertex buffers hold them: a vec3<f32> would take 16 bytes.
struct Vec3
{
    x: f32,
    y: f32,
    z: f32,
}

fn loadVec3(v: Vec3) -> vec3<f32>
{
    return vec3<f32>(v.x, v.y, v.z);
}

fn storeVec3(v: vec3<f32>) -> Vec3
{
    return Vec3(v.x, v.y, v.z);
}

struct Uniforms
{
    noiseTransform: mat4x4<f32>, // from the mesh into the noise
    repetition: vec4<f32>,       // xyz: the period on each axis, w: the rotation
    strength: f32,               // 0: the normal as it is, 1: the noise
    vertexCount: u32,
    _pad0: u32,
    _pad1: u32,
}

@group(0) @binding(0) var<uniform> uniforms: Uniforms;
@group(0) @binding(1) var<storage, read> positions: array<Vec3>;
@group(0) @binding(2) var<storage, read> normals: array<Vec3>;
@group(0) @binding(3) var<storage, read_write> outNormals: array<Vec3>;

// Beyond 65,535 workgroups the dispatch has more than one row.
fn indexOf(id: vec3<u32>, groups: vec3<u32>) -> u32
{
    return id.y * groups.x * 64u + id.x;
}

@compute @workgroup_size(64)
fn main(@builtin(global_invocation_id) id: vec3<u32>, @builtin(num_workgroups) groups: vec3<u32>)
{
    let i = indexOf(id, groups);
    if i >= uniforms.vertexCount
    {
        return;
    }
    let noisePosition = (uniforms.noiseTransform * vec4<f32>(loadVec3(positions[i]), 1.0)).xyz;
    let noise = psrdnoise3(noisePosition, uniforms.repetition.xyz, uniforms.repetition.w);
    let normal = normalize(loadVec3(normals[i]));
    outNormals[i] = storeVec3(normalize(mix(normal, normalize(noise.gradient), uniforms.strength)));
}
