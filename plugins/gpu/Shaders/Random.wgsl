// Random numbers from a seed, for other shaders to include: the same seed gives the same number on every machine.
//
// The hash is PCG-RXS-M-XS-32, one round of a permuted congruential generator: Melissa O'Neill, "PCG: A Family of
// Simple Fast Space-Efficient Statistically Good Algorithms for Random Number Generation", 2014; as a hash for
// shaders: Mark Jarzynski and Marc Olano, "Hash Functions for GPU Rendering", Journal of Computer Graphics
// Techniques, vol. 9, no. 3, 2020. Overflow wraps around throughout.

fn random_u32(input: u32) -> u32
{
    let state = input * 747796405u + 2891336453u;
    let word = ((state >> ((state >> 28u) + 4u)) ^ state) * 277803737u;
    return (word >> 22u) ^ word;
}

// In [0, 1), in steps of 2^-23: the hash's low 23 bits become the mantissa of a number in [1, 2).
fn random_f32(input: u32) -> f32
{
    let bits = (random_u32(input) & 0x007FFFFFu) | 0x3F800000u;
    return bitcast<f32>(bits) - 1.0;
}

fn random_vec2(input: u32) -> vec2<f32>
{
    return vec2<f32>(random_f32(input), random_f32(input + 34327u));
}

fn random_vec3(input: u32) -> vec3<f32>
{
    return vec3<f32>(random_vec2(input), random_f32(input + 82173u));
}

// The last offset is subtracted: what users have seeded depends on it.
fn random_vec4(input: u32) -> vec4<f32>
{
    return vec4<f32>(random_vec3(input), random_f32(input - 92173u));
}

// Two independent samples of a normal distribution (Box-Muller transform). They are infinite where the first random
// number is 0, once in 2^23 seeds.
fn random_gaussian(mean: f32, standardDeviation: f32, seed: u32) -> vec2<f32>
{
    let tau = 6.2831855;
    let r = random_vec2(seed);
    let mag = standardDeviation * sqrt(-2.0 * log(r.x));
    let z0 = mag * cos(tau * r.y) + mean;
    let z1 = mag * sin(tau * r.y) + mean;
    return vec2<f32>(z0, z1);
}
