// Move Mesh: every vertex along its normal as it is stored, by an amount times an attribute where there is one.

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
    amount: f32,
    vertexCount: u32,
    useAttribute: u32,
    _pad: u32,
}

@group(0) @binding(0) var<uniform> uniforms: Uniforms;
@group(0) @binding(1) var<storage, read> inPositions: array<Vec3>;
@group(0) @binding(2) var<storage, read_write> outPositions: array<Vec3>;
@group(0) @binding(3) var<storage, read> normals: array<Vec3>;
@group(0) @binding(4) var<storage, read> amounts: array<f32>;

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
    var total = uniforms.amount;
    if uniforms.useAttribute != 0u
    {
        total *= amounts[i];
    }
    outPositions[i] = storeVec3(loadVec3(inPositions[i]) + loadVec3(normals[i]) * total);
}
