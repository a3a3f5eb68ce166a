#include "Random.wgsl"

// Create Attribute, one number per vertex: constant, random, normally distributed or an even ramp.

struct Uniforms
{
    constValue: vec4<f32>,
    minValue: vec4<f32>,
    maxValue: vec4<f32>,
    meanValue: vec4<f32>,
    stddevValue: vec4<f32>,
    vertexCount: u32,
    mode: u32, // 0 constant, 1 random, 2 normal distribution, 3 sequence, else zero
    seed: u32,
    _pad: u32,
}

@group(0) @binding(0) var<uniform> uniforms: Uniforms;
@group(0) @binding(1) var<storage, read_write> values: array<f32>;

fn valueOf(i: u32) -> f32
{
    let seed = i + uniforms.seed;
    switch uniforms.mode
    {
        case 0u:
        {
            return uniforms.constValue.x;
        }
        case 1u:
        {
            return mix(uniforms.minValue.x, uniforms.maxValue.x, random_f32(seed));
        }
        case 2u:
        {
            return random_gaussian(uniforms.meanValue.x, uniforms.stddevValue.x, seed).x;
        }
        case 3u:
        {
            let t = f32(i) / f32(max(uniforms.vertexCount, 2u) - 1u); // a single vertex has t = 0
            return mix(uniforms.minValue.x, uniforms.maxValue.x, t);
        }
        default:
        {
            return 0.0;
        }
    }
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
    if i >= uniforms.vertexCount
    {
        return;
    }
    values[i] = valueOf(i);
}
