// Twist: every vertex turns around the y axis by an angle that grows with its height. Normals turn with their vertices,
// which is exact for small angles only: the slant that the twist itself brings is left out.

// Three floats without padding, as vertex buffers hold them: a vec3<f32> would take 16 bytes.
struct Vec3
{
    x: f32,
    y: f32,
    z: f32,
}

struct Uniforms
{
    angle: f32, // radians for each unit of height
    vertexCount: u32,
}

@group(0) @binding(0) var<uniform> uniforms: Uniforms;
@group(0) @binding(1) var<storage, read> positions: array<Vec3>;
@group(0) @binding(2) var<storage, read_write> newPositions: array<Vec3>;
@group(0) @binding(3) var<storage, read> normals: array<Vec3>;
@group(0) @binding(4) var<storage, read_write> newNormals: array<Vec3>;

fn turned(v: Vec3, angle: f32) -> Vec3
{
    let c = cos(angle);
    let s = sin(angle);
    return Vec3(c * v.x + s * v.z, v.y, c * v.z - s * v.x);
}

// Beyond 65,535 workgroups the dispatch has more than one row.
@compute @workgroup_size(64)
fn main(@builtin(global_invocation_id) id: vec3<u32>, @builtin(num_workgroups) groups: vec3<u32>)
{
    let i = id.y * groups.x * 64u + id.x;
    if i >= uniforms.vertexCount
    {
        return;
    }
    let angle = uniforms.angle * positions[i].y;
    newPositions[i] = turned(positions[i], angle);
    newNormals[i] = turned(normals[i], angle);
}
