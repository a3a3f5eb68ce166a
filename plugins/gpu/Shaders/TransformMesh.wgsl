// Transform Mesh: positions by a matrix, tangents by the same one, normals by the matrix made for them.

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
    transform: mat4x4<f32>,
    normalMatrix: mat4x4<f32>,
    vertexCount: u32,
    flags: u32, // bit 0: there are normals, bit 1: there are tangents
}

@group(0) @binding(0) var<uniform> uniforms: Uniforms;
@group(0) @binding(1) var<storage, read> inPositions: array<Vec3>;
@group(0) @binding(2) var<storage, read_write> outPositions: array<Vec3>;
@group(0) @binding(3) var<storage, read> inNormals: array<Vec3>;
@group(0) @binding(4) var<storage, read_write> outNormals: array<Vec3>;
@group(0) @binding(5) var<storage, read> inTangents: array<vec4<f32>>;
@group(0) @binding(6) var<storage, read_write> outTangents: array<vec4<f32>>;

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
    let position = vec4<f32>(loadVec3(inPositions[i]), 1.0);
    outPositions[i] = storeVec3((uniforms.transform * position).xyz);
    if (uniforms.flags & 1u) != 0u
    {
        let normal = vec4<f32>(loadVec3(inNormals[i]), 0.0);
        outNormals[i] = storeVec3(normalize((uniforms.normalMatrix * normal).xyz));
    }
    if (uniforms.flags & 2u) != 0u
    {
        let tangent = inTangents[i];
        outTangents[i] = vec4<f32>(normalize((uniforms.transform * vec4<f32>(tangent.xyz, 0.0)).xyz), tangent.w);
    }
}
