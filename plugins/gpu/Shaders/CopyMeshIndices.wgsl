// Copy Mesh Indices: the indices once for every copy, each pointing at the vertices of its copy.

struct Uniforms
{
    indexCount: u32, // of one copy
    vertexCount: u32,
    copyCount: u32,
    indexBits: u32, // of the indices that come in: 16, two to a word, or 32
}

@group(0) @binding(0) var<uniform> uniforms: Uniforms;
@group(0) @binding(1) var<storage, read> inIndices: array<u32>;
@group(0) @binding(2) var<storage, read_write> outIndices: array<u32>;

fn loadIndex(i: u32) -> u32
{
    if uniforms.indexBits == 16u
    {
        return extractBits(inIndices[i / 2u], 16u * (i % 2u), 16u);
    }
    return inIndices[i];
}

// Beyond 65,535 workgroups the dispatch has more than one row.
fn indexOf(id: vec3<u32>, groups: vec3<u32>) -> u32
{
    return id.y * groups.x * 64u + id.x;
}

@compute @workgroup_size(64)
fn main(@builtin(global_invocation_id) id: vec3<u32>, @builtin(num_workgroups) groups: vec3<u32>)
{
    let i = indexOf(id, groups);
    if i >= uniforms.indexCount * uniforms.copyCount
    {
        return;
    }
    let copyIndex = i / uniforms.indexCount;
    outIndices[i] = loadIndex(i - copyIndex * uniforms.indexCount) + copyIndex * uniforms.vertexCount;
}
