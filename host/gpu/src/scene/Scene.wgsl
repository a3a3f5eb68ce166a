// Scene: meshes in the light of a studio.
//
// Surfaces: glTF 2.0, appendix B (metallic-roughness). All light comes from the studio around: what a surface reflects
// is the product of the light that reaches its lobe and its response to even light (split sum: Karis, "Real Shading in
// Unreal Engine 4", 2013). The light that bounces between microfacets is given back (Fdez-Aguera, "A
// Multiple-Scattering Microfacet Model for Real-Time Image-based Lighting", 2019). Tone mapping: Khronos PBR Neutral.
// What is written is sRGB-encoded and premultiplied.

// A soft box: a rectangle in the plane z = 1 of its own axes.
struct Lamp
{
    x: vec3<f32>,
    halfWidth: f32,
    y: vec3<f32>,
    halfHeight: f32,
    z: vec3<f32>, // towards it
    radiance: f32,
}

struct Frame
{
    viewProjection: mat4x4<f32>, // of positions relative to the eye
    diffuse: mat4x4<f32>,        // with the normal n and v = (n, 1): dot(v, diffuse * v) is the irradiance / pi
    eye: vec3<f32>,
    studioCos: f32,   // the yaw of the camera, with which the studio turns
    walls: vec3<f32>, // radiance from below, from the horizon, and from above
    studioSin: f32,
    lamps: array<Lamp, 5>,
}

struct Material
{
    baseColor: vec4<f32>,
    emission: vec3<f32>,
    metallic: f32,
    roughness: f32,
    normalScale: f32,
    occlusionStrength: f32,
    alphaCutoff: f32,
    textures: u32, // bits as below
}

const HAS_BASE_COLOR = 1u;
const HAS_METALLIC_ROUGHNESS = 2u;
const HAS_NORMAL = 4u;
const HAS_OCCLUSION = 8u;
const HAS_EMISSION = 16u;

override textured: bool; // some bit of material.textures is set
override opaque: bool;   // alpha is ignored
override solid: bool;    // made of triangles

@group(0) @binding(0) var<uniform> frame: Frame;
@group(0) @binding(1) var<storage, read> transforms: array<mat4x4<f32>>; // from mesh to scene, of each instance
@group(1) @binding(0) var<uniform> material: Material;
@group(1) @binding(1) var baseColorTexture: texture_2d<f32>;
@group(1) @binding(2) var metallicRoughnessTexture: texture_2d<f32>;
@group(1) @binding(3) var normalTexture: texture_2d<f32>;
@group(1) @binding(4) var occlusionTexture: texture_2d<f32>;
@group(1) @binding(5) var emissionTexture: texture_2d<f32>;
@group(1) @binding(6) var materialSampler: sampler;

// Attributes that a mesh lacks are the same for all vertices: 0, and white for the color.
struct VertexInput
{
    @location(0) position: vec3<f32>,
    @location(1) normal: vec3<f32>,
    @location(2) tangent: vec4<f32>,
    @location(3) uv: vec2<f32>,
    @location(4) color: vec4<f32>,
    @builtin(instance_index) instance: u32,
}

struct VertexOutput
{
    @builtin(position) clip_position: vec4<f32>,
    @location(0) fromEye: vec3<f32>,
    @location(1) normal: vec3<f32>,
    @location(2) tangent: vec4<f32>,
    @location(3) uv: vec2<f32>,
    @location(4) color: vec4<f32>,
}

@vertex
fn vs_main(in: VertexInput) -> VertexOutput
{
    let toScene = transforms[in.instance];
    let linear = mat3x3<f32>(toScene[0].xyz, toScene[1].xyz, toScene[2].xyz);
    // The cofactors: the inverse transpose but for a factor, and defined for flattened meshes, too.
    let cofactors = mat3x3<f32>(cross(linear[1], linear[2]), cross(linear[2], linear[0]), cross(linear[0], linear[1]));
    let mirrored = dot(linear[0], cofactors[0]) < 0.0;

    var out: VertexOutput;
    out.fromEye = (toScene * vec4<f32>(in.position, 1.0)).xyz - frame.eye;
    out.clip_position = frame.viewProjection * vec4<f32>(out.fromEye, 1.0);
    out.normal = unit(cofactors * in.normal) * select(1.0, -1.0, mirrored);
    out.tangent = vec4<f32>(unit(linear * in.tangent.xyz), in.tangent.w * select(1.0, -1.0, mirrored));
    out.uv = in.uv;
    out.color = in.color;
    return out;
}

// The vector with length 1, or 0 when it has no direction. Scaled first: the squares of small ones vanish.
fn unit(v: vec3<f32>) -> vec3<f32>
{
    let largest = max(abs(v.x), max(abs(v.y), abs(v.z)));
    if !(largest > 0.0 && largest < 1e38)
    {
        return vec3<f32>(0.0);
    }
    return normalize(v / largest);
}

// ---- Color ----

fn encodeSrgb(color: vec3<f32>) -> vec3<f32>
{
    let c = clamp(color, vec3<f32>(0.0), vec3<f32>(1.0));
    return select(1.055 * pow(c, vec3<f32>(1.0 / 2.4)) - 0.055, 12.92 * c, c <= vec3<f32>(0.0031308));
}

// Khronos PBR Neutral: base colors come out as they are under white light; highlights are compressed and desaturated.
fn toneMap(radiance: vec3<f32>) -> vec3<f32>
{
    let start = 0.8 - 0.04;
    let desaturation = 0.15;
    let least = min(radiance.r, min(radiance.g, radiance.b));
    let color = radiance - select(0.04, least - 6.25 * least * least, least < 0.08);
    let peak = max(color.r, max(color.g, color.b));
    if peak < start
    {
        return color;
    }
    let rest = 1.0 - start;
    let newPeak = 1.0 - rest * rest / (peak + rest - start);
    let gray = 1.0 - 1.0 / (desaturation * (peak - newPeak) + 1.0);
    return mix(color * (newPeak / peak), vec3<f32>(newPeak), gray);
}

fn display(radiance: vec3<f32>, alpha: f32) -> vec4<f32>
{
    // Beyond that the formulas run into infinity.
    let bounded = clamp(radiance, vec3<f32>(0.0), vec3<f32>(1e6));
    return vec4<f32>(encodeSrgb(toneMap(bounded)) * alpha, alpha);
}

// ---- Surface ----

fn has(texture: u32) -> bool
{
    return textured && (material.textures & texture) != 0u;
}

fn baseColor(vertexColor: vec4<f32>, uv: vec2<f32>) -> vec4<f32>
{
    var color = material.baseColor * vertexColor;
    if has(HAS_BASE_COLOR)
    {
        color *= textureSample(baseColorTexture, materialSampler, uv);
    }
    return clamp(color, vec4<f32>(0.0), vec4<f32>(1.0));
}

fn emission(in: VertexOutput) -> vec3<f32>
{
    if has(HAS_EMISSION)
    {
        return material.emission * textureSample(emissionTexture, materialSampler, in.uv).rgb;
    }
    return material.emission;
}

// The directions of increasing u and of decreasing v on a surface without tangents, after Schueler, "Followup: Normal
// Mapping Without Precomputed Tangents", 2013.
struct Derivatives
{
    positionX: vec3<f32>,
    positionY: vec3<f32>,
    uvX: vec2<f32>,
    uvY: vec2<f32>,
}

fn tangentOf(in: VertexOutput, normal: vec3<f32>, d: Derivatives) -> vec4<f32>
{
    if dot(in.tangent.xyz, in.tangent.xyz) > 0.0
    {
        return vec4<f32>(unit(in.tangent.xyz - normal * dot(normal, in.tangent.xyz)), sign(in.tangent.w));
    }
    let area = d.uvX.x * d.uvY.y - d.uvY.x * d.uvX.y;
    let u = unit((d.positionX * d.uvY.y - d.positionY * d.uvX.y) * sign(area));
    let up = (d.positionX * d.uvY.x - d.positionY * d.uvX.x) * sign(area);
    let tangent = unit(u - normal * dot(normal, u));
    return vec4<f32>(tangent, sign(dot(cross(normal, tangent), up)));
}

fn flatNormal(d: Derivatives) -> vec3<f32>
{
    return unit(cross(d.positionY, d.positionX)); // y runs downwards: this one faces the eye
}

fn surfaceNormal(in: VertexOutput, front: bool, d: Derivatives) -> vec3<f32>
{
    let faceTo = select(-1.0, 1.0, front);
    var normal = unit(in.normal);
    if dot(normal, normal) < 0.5
    {
        normal = flatNormal(d) * faceTo;
    }
    if has(HAS_NORMAL)
    {
        let texel = textureSample(normalTexture, materialSampler, in.uv).xyz * 2.0 - 1.0;
        let tangent = tangentOf(in, normal, d);
        let bitangent = cross(normal, tangent.xyz) * tangent.w;
        let scaled = vec3<f32>(texel.xy * material.normalScale, texel.z);
        let bent = unit(tangent.xyz * scaled.x + bitangent * scaled.y + normal * scaled.z);
        normal = select(normal, bent, dot(bent, bent) > 0.5);
    }
    return normal * faceTo;
}

// ---- Light ----

fn inStudio(direction: vec3<f32>) -> vec3<f32>
{
    let x = frame.studioCos * direction.x - frame.studioSin * direction.z;
    let z = frame.studioSin * direction.x + frame.studioCos * direction.z;
    return vec3<f32>(x, direction.y, z);
}

// Where normals differ within a pixel, its surface is as rough as their spread: thin highlights don't sparkle.
// Tokuyoshi and Kaplanyan, "Improved Geometric Specular Antialiasing", 2019.
fn roughnessOf(roughness: f32, normal: vec3<f32>) -> f32
{
    let x = dpdx(normal);
    let y = dpdy(normal);
    let spread = min((dot(x, x) + dot(y, y)) / 3.14159265, 0.18);
    let alpha = roughness * roughness;
    return sqrt(sqrt(clamp(alpha * alpha + spread, 0.0, 1.0)));
}

// The part of a lobe that sees a lamp. The lobe is a parabola on each axis, so that its integral is smoothstep.
fn seen(lamp: Lamp, direction: vec3<f32>, width: f32) -> f32
{
    let depth = dot(direction, lamp.z);
    let at = vec2<f32>(dot(direction, lamp.x), dot(direction, lamp.y)) / max(depth, 0.001);
    let halfSize = vec2<f32>(lamp.halfWidth, lamp.halfHeight);
    let low = vec2<f32>(-width);
    let high = vec2<f32>(width);
    let part = smoothstep(low, high, at + halfSize) - smoothstep(low, high, at - halfSize);
    return select(0.0, part.x * part.y, depth > 0.001);
}

fn diffuseLight(normal: vec3<f32>) -> f32
{
    let v = vec4<f32>(normal, 1.0);
    return max(dot(v, frame.diffuse * v), 0.0);
}

// Half of a GGX lobe lies within 2 alpha of the mirrored direction, and half of a parabola's within about half of its
// width. The widest lobes are nearly those of diffuse surfaces.
fn reflectedLight(direction: vec3<f32>, roughness: f32) -> f32
{
    let alpha = roughness * roughness;
    let width = 0.04 + 4.0 * alpha;
    let up = smoothstep(0.0, 1.0, direction.y);
    let down = smoothstep(0.0, 0.6, -direction.y);
    var light = mix(mix(frame.walls.y, frame.walls.z, up), frame.walls.x, down);
    for (var i = 0; i < 5; i++)
    {
        light += frame.lamps[i].radiance * seen(frame.lamps[i], direction, width);
    }
    return mix(light, diffuseLight(direction), alpha);
}

// How much a surface reflects of even light: scale and bias of its specular color. A fit of the integral over GGX with
// Smith's term: Karis, "Physically Based Shading on Mobile", 2014.
fn response(facing: f32, roughness: f32) -> vec2<f32>
{
    let r = roughness * vec4<f32>(-1.0, -0.0275, -0.572, 0.022) + vec4<f32>(1.0, 0.0425, 1.04, -0.04);
    let a = min(r.x * r.x, exp2(-9.28 * facing)) * r.x + r.y;
    return max(vec2<f32>(-1.04, 1.04) * a + r.zw, vec2<f32>(0.0));
}

// What a surface reflects of even light, for a specular color: at the first bounce, and at all that follow.
struct Specular
{
    once: vec3<f32>,
    again: vec3<f32>,
}

fn specular(color: vec3<f32>, terms: vec2<f32>) -> Specular
{
    let once = color * terms.x + terms.y;
    let lost = 1.0 - terms.x - terms.y;
    let average = color + (1.0 - color) / 21.0;
    return Specular(once, lost * once * average / (1.0 - lost * average));
}

fn reflected(base: vec3<f32>, metallic: f32, roughness: f32, normal: vec3<f32>, toEye: vec3<f32>) -> vec3<f32>
{
    // Normals may look away from the eye on faces that don't: bent ones, and those of made-up meshes.
    let terms = response(min(abs(dot(normal, toEye)), 1.0), roughness);
    let sharp = reflectedLight(inStudio(reflect(-toEye, normal)), roughness);
    let soft = diffuseLight(inStudio(normal));
    let dielectric = specular(vec3<f32>(0.04), terms);
    let metal = specular(base, terms);
    let once = mix(dielectric.once, metal.once, metallic);
    let again = mix(dielectric.again, metal.again, metallic);
    let diffuse = base * (1.0 - metallic) * (1.0 - dielectric.once - dielectric.again);
    return once * sharp + (again + diffuse) * soft;
}

fn lit(in: VertexOutput, front: bool, base: vec4<f32>) -> vec3<f32>
{
    let d = Derivatives(dpdx(in.fromEye), dpdy(in.fromEye), dpdx(in.uv), dpdy(in.uv));
    var metallic = material.metallic;
    var roughness = material.roughness;
    if has(HAS_METALLIC_ROUGHNESS)
    {
        let texel = textureSample(metallicRoughnessTexture, materialSampler, in.uv);
        metallic *= texel.b;
        roughness *= texel.g;
    }
    var visible = 1.0;
    if has(HAS_OCCLUSION)
    {
        visible = mix(1.0, textureSample(occlusionTexture, materialSampler, in.uv).r, material.occlusionStrength);
    }
    let normal = surfaceNormal(in, front, d);
    let rough = roughnessOf(roughness, normal);
    let light = reflected(base.rgb, metallic, rough, normal, unit(-in.fromEye)) * visible;
    // glTF 2.0 has lines and points without normals show their colors.
    let plain = !solid && dot(in.normal, in.normal) < 0.25;
    return select(light, base.rgb, plain) + emission(in);
}

@fragment
fn fs_lit(in: VertexOutput, @builtin(front_facing) front: bool) -> @location(0) vec4<f32>
{
    let base = baseColor(in.color, in.uv);
    return display(lit(in, front, base), select(base.a, 1.0, opaque));
}

struct MaskedOutput
{
    @location(0) color: vec4<f32>,
    @builtin(sample_mask) samples: u32,
}

// The edge where alpha crosses the cutoff is drawn with as many of the four samples as lie inside.
@fragment
fn fs_masked(in: VertexOutput, @builtin(front_facing) front: bool) -> MaskedOutput
{
    let base = baseColor(in.color, in.uv);
    let slope = fwidth(base.a);
    let color = lit(in, front, base);
    var share = select(0.0, 1.0, base.a >= material.alphaCutoff);
    if slope > 0.002 && material.alphaCutoff > 0.0
    {
        share = clamp((base.a - material.alphaCutoff) / slope + 0.5, 0.0, 1.0);
    }
    let count = u32(round(share * 4.0));
    if count == 0u
    {
        discard;
    }
    return MaskedOutput(display(color, 1.0), (1u << count) - 1u);
}

// Colors as they are: sRGB-encoded ones, which are not decoded. Only those of vertices, which are linear, are encoded.
@fragment
fn fs_unlit(in: VertexOutput) -> @location(0) vec4<f32>
{
    let base = baseColor(vec4<f32>(encodeSrgb(in.color.rgb), in.color.a), in.uv);
    let alpha = select(base.a, 1.0, opaque);
    if alpha <= 0.0
    {
        discard; // so that what lies behind can still be drawn
    }
    return vec4<f32>(base.rgb * alpha, alpha);
}
