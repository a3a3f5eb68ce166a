// Mesh Distance: how far every vertex is from a shape, measured in the shape's own space.

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

struct Uniforms
{
    inverseTransform: mat4x4<f32>, // from the mesh into the space of the shape
    center: vec4<f32>,             // xyz
    direction: vec4<f32>,          // xyz: of the line, unit length; w: the radius of the sphere
    vertexCount: u32,
    shapeType: u32, // 0 point, 1 line, else sphere
    _pad0: u32,
    _pad1: u32,
}

@group(0) @binding(0) var<uniform> uniforms: Uniforms;
@group(0) @binding(1) var<storage, read> positions: array<Vec3>;
@group(0) @binding(2) var<storage, read_write> distances: array<f32>;

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
    let local = (uniforms.inverseTransform * vec4<f32>(loadVec3(positions[i]), 1.0)).xyz;
    let delta = local - uniforms.center.xyz;
    switch uniforms.shapeType
    {
        case 0u: { distances[i] = length(delta); }
        case 1u:
        {
            let direction = uniforms.direction.xyz;
            distances[i] = length(delta - dot(delta, direction) * direction);
        }
        default: { distances[i] = length(delta) - uniforms.direction.w; }
    }
}
