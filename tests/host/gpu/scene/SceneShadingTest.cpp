#include "gpu/scene/SceneDrawing.h"

#include "Varkle/Gpu/Graphics.h"

#include <algorithm>
#include <limits>

// What surfaces look like: colors computed from the formulas, alpha, the background, faces, normal textures.

using namespace Varkle;
using namespace Varkle::Testing;

namespace
{

double EncodeSrgb(double value)
{
    return value <= 0.0031308 ? 12.92 * value : 1.055 * std::pow(value, 1.0 / 2.4) - 0.055;
}

double DecodeSrgb(double value)
{
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

// Khronos PBR Neutral.
glm::dvec3 ToneMap(glm::dvec3 color)
{
    const double least = std::min({color.r, color.g, color.b});
    color -= least < 0.08 ? least - 6.25 * least * least : 0.04;
    const double peak = std::max({color.r, color.g, color.b});
    if (peak < 0.76)
        return color;
    const double newPeak = 1.0 - 0.24 * 0.24 / (peak + 0.24 - 0.76);
    const double gray = 1.0 - 1.0 / (0.15 * (peak - newPeak) + 1.0);
    return glm::mix(color * newPeak / peak, glm::dvec3(newPeak), gray);
}

Rgba8 Display(const glm::dvec3& radiance)
{
    const glm::dvec3 mapped = ToneMap(radiance);
    return ToRgba8({EncodeSrgb(mapped.r), EncodeSrgb(mapped.g), EncodeSrgb(mapped.b), 1.0});
}

// What a surface that faces the camera returns of white light from everywhere.
glm::dvec3 Reflected(const glm::dvec3& base, double metallic, double roughness)
{
    // Scale and bias of the specular color at dot(normal, view) = 1.
    const glm::dvec4 r = roughness * glm::dvec4(-1, -0.0275, -0.572, 0.022) + glm::dvec4(1, 0.0425, 1.04, -0.04);
    const double a = std::min(r.x * r.x, std::exp2(-9.28)) * r.x + r.y;
    const glm::dvec2 terms = glm::dvec2(-1.04, 1.04) * a + glm::dvec2(r.z, r.w);

    struct Specular
    {
        glm::dvec3 once;
        glm::dvec3 again;
    };
    const auto specular = [&](const glm::dvec3& color)
    {
        const glm::dvec3 once = color * terms.x + terms.y;
        const double lost = 1.0 - terms.x - terms.y;
        const glm::dvec3 average = color + (1.0 - color) / 21.0;
        return Specular{once, lost * once * average / (1.0 - lost * average)};
    };
    const Specular dielectric = specular(glm::dvec3(0.04));
    const Specular metal = specular(base);
    return glm::mix(dielectric.once + dielectric.again + base * (1.0 - dielectric.once - dielectric.again),
                    metal.once + metal.again, metallic);
}

Texture OnePixel(Rgba8 color)
{
    return Filled({1, 1}, color);
}

} // namespace

// ---- Colors ----

TEST_CASE("An unlit material's color comes out as it is")
{
    for (const Rgba8 color : {Rgba8{255, 128, 0, 255}, Rgba8{1, 2, 3, 255}, Rgba8{255, 255, 255, 255}})
    {
        INFO(color);
        CHECK(IsFilled(Draw(BareQuad().SetMaterial(Unlit(glm::vec4(ToUnit(color))))), color));
    }
}

TEST_CASE("An unlit material's texture comes out as it is, upright, times its color")
{
    const Texture texture = MakeTexture(
        {2, 2}, {Rgba8{10, 20, 30, 255}, Rgba8{200, 100, 50, 255}, Rgba8{60, 70, 80, 255}, Rgba8{0, 255, 128, 255}});
    const Image plain = Draw(Quad().SetMaterial(Unlit(glm::vec4(1), texture)), Front(64));
    // The centers of the four texels; the square is a ninth larger than the picture.
    CHECK(Near(At(plain, 14, 14), {10, 20, 30, 255}, 3));
    CHECK(Near(At(plain, 49, 14), {200, 100, 50, 255}, 3));
    CHECK(Near(At(plain, 14, 49), {60, 70, 80, 255}, 3));
    CHECK(Near(At(plain, 49, 49), {0, 255, 128, 255}, 3));

    const Texture even = OnePixel({200, 100, 50, 255});
    CHECK(Near(DrawCenter(Quad().SetMaterial(Unlit({0.5, 1, 0, 1}, even))), {100, 100, 0, 255}));
}

TEST_CASE("Textures repeat outside of 0 to 1")
{
    const Texture columns = MakeTexture({2, 1}, {Rgba8{255, 0, 0, 255}, Rgba8{0, 0, 255, 255}});
    const std::vector<glm::vec2> uvs{{1.25, 0}, {1.25, 0}, {1.25, 0}, {1.25, 0}};
    const Mesh mesh = With(BareQuad(), Attributes::TexCoord0, uvs).SetMaterial(Unlit(glm::vec4(1), columns));
    CHECK(DrawCenter(mesh) == Rgba8{255, 0, 0, 255});
}

TEST_CASE("Surfaces return of even light what their material says")
{
    struct Case
    {
        glm::vec3 base;
        float metallic;
        float roughness;
    };
    for (const Case& c : {Case{{0.5, 0.5, 0.5}, 0, 0.6f}, Case{{0.8, 0.2, 0.05}, 0, 1}, Case{{1, 0.77, 0.34}, 1, 0.25f},
                          Case{{0, 0, 0}, 0, 0}, Case{{0.3, 0.6, 0.9}, 0.5f, 0.5f}})
    {
        INFO(c.base.r << ' ' << c.metallic << ' ' << c.roughness);
        const Rgba8 drawn = DrawCenter(BareQuad().SetMaterial(Pbr({c.base, 1}, c.metallic, c.roughness)));
        const Rgba8 expected = Display(Reflected(c.base, double(c.metallic), double(c.roughness)));
        INFO(drawn << " instead of " << expected);
        CHECK(Near(drawn, expected));
    }
}

TEST_CASE("A mesh without a material is a rough gray that conducts nothing")
{
    CHECK(Near(DrawCenter(BareQuad()), Display(Reflected(glm::dvec3(0.5), 0.0, 0.6))));
}

TEST_CASE("A white thing in even light returns all of it, however rough and metallic")
{
    SceneView view = Front(48);
    view.distance.reset();
    const Rgba8 white = Display(glm::dvec3(1));
    for (const float metallic : {0.0f, 0.5f, 1.0f})
    {
        for (const float roughness : {0.0f, 0.3f, 0.7f, 1.0f})
        {
            INFO(metallic << ' ' << roughness);
            const Image image = Draw(Sphere(1).SetMaterial(Pbr(glm::vec4(1), metallic, roughness)), view);
            // From the middle nearly to the edge, where the sphere turns away.
            bool allWhite = true;
            for (int x = 6; x < 42; ++x)
                allWhite = allWhite && Near(At(image, x, 24), white);
            CHECK(allWhite);
        }
    }
}

TEST_CASE("Emission is added and tone mapped")
{
    for (const glm::vec3 emission : {glm::vec3(0.2, 0.1, 0), glm::vec3(0.5, 2, 0.25), glm::vec3(100, 100, 50)})
    {
        const auto material = Pbr({0, 0, 0, 1}, 0, 1);
        material->SetEmissiveFactor(emission);
        const Rgba8 drawn = DrawCenter(BareQuad().SetMaterial(material));
        INFO(drawn);
        CHECK(Near(drawn, Display(Reflected(glm::dvec3(0), 0.0, 1.0) + glm::dvec3(emission))));
    }
}

TEST_CASE("Base color and emission textures are decoded from sRGB")
{
    const auto decoded = [](int level) { return DecodeSrgb(level / 255.0); };
    const Texture texture = OnePixel({200, 128, 40, 255});
    const glm::dvec3 linear(decoded(200), decoded(128), decoded(40));

    const auto base = Pbr({0.5, 1, 1, 1}, 0, 1);
    base->SetBaseColorTexture(texture);
    const Rgba8 drawn = DrawCenter(Quad().SetMaterial(base));
    const Rgba8 expected = Display(Reflected(linear * glm::dvec3(0.5, 1, 1), 0.0, 1.0));
    INFO(drawn << " instead of " << expected);
    // GPUs decode with half a level's error, of which the tone mapping makes more where colors are dark.
    CHECK(Near(drawn, expected, 2));

    const auto emission = Pbr({0, 0, 0, 1}, 0, 1);
    emission->SetEmissiveFactor({1, 0.5, 1});
    emission->SetEmissiveTexture(texture);
    CHECK(Near(DrawCenter(Quad().SetMaterial(emission)),
               Display(Reflected(glm::dvec3(0), 0.0, 1.0) + linear * glm::dvec3(1, 0.5, 1))));
}

TEST_CASE("The metallic-roughness texture scales roughness by green and metallic by blue")
{
    const auto material = Pbr({0.8, 0.4, 0.1, 1}, 0.8f, 0.9f);
    material->SetMetallicRoughnessTexture(OnePixel({77, 102, 204, 255})); // green 0.4, blue 0.8
    CHECK(Near(DrawCenter(Quad().SetMaterial(material)), Display(Reflected({0.8, 0.4, 0.1}, 0.64, 0.36))));
}

TEST_CASE("The occlusion texture's red dims what is reflected, by its strength, but not the emission")
{
    const auto material = Pbr({0.8, 0.4, 0.1, 1}, 0, 1);
    material->SetOcclusionTexture(OnePixel({51, 255, 255, 255})); // 0.2
    material->SetOcclusionStrength(0.5f);
    material->SetEmissiveFactor({0, 0, 0.3});
    const glm::dvec3 expected = Reflected({0.8, 0.4, 0.1}, 0.0, 1.0) * 0.6 + glm::dvec3(0, 0, 0.3);
    CHECK(Near(DrawCenter(Quad().SetMaterial(material)), Display(expected)));
}

TEST_CASE("A texture of one channel gives its red, one of floats its values")
{
    const Texture red8 = Texture::Create({1, 1}, wgpu::TextureFormat::R8Unorm);
    wgpu::TexelCopyTextureInfo target;
    target.texture = red8.GetTextureHandle();
    const wgpu::TexelCopyBufferLayout layout;
    const wgpu::Extent3D extent{1, 1};
    const std::uint8_t level = 128;
    Graphics::GetQueue().WriteTexture(&target, &level, 1, &layout, &extent);
    CHECK(DrawCenter(Quad().SetMaterial(Unlit(glm::vec4(1), red8))) == Rgba8{128, 0, 0, 255});

    const auto material = Pbr({0.8, 0.4, 0.1, 1}, 1, 1);
    material->SetMetallicRoughnessTexture(MakeFloatTexture({1, 1}, {glm::vec4(0, 0.3, 0.45, 1)}));
    CHECK(Near(DrawCenter(Quad().SetMaterial(material)), Display(Reflected({0.8, 0.4, 0.1}, 0.45, 0.3))));
}

TEST_CASE("From afar a texture is averaged: colors as light, other values as they are")
{
    std::vector<Rgba8> checker(4096, Rgba8{255, 255, 255, 255});
    for (std::size_t i = 0; i < checker.size(); ++i)
        checker[i] = (i + i / 64) % 2 == 0 ? checker[i] : black;
    const Texture texture = MakeTexture({64, 64}, checker);
    SceneView view = Front(4);
    CHECK(Near(DrawCenter(Quad().SetMaterial(Unlit(glm::vec4(1), texture)), view), {128, 128, 128, 255}));
    const auto material = Pbr(glm::vec4(1), 0, 1);
    material->SetBaseColorTexture(texture);
    CHECK(Near(DrawCenter(Quad().SetMaterial(material), view), Display(Reflected(glm::dvec3(0.5), 0.0, 1.0)), 2));
}

TEST_CASE("Vertex colors are linear and multiply the base color")
{
    const std::vector<glm::vec4> colors(4, glm::vec4(0.5, 1, 0.25, 1));
    const Mesh mesh = With(BareQuad(), Attributes::Color0, colors);
    CHECK(Near(DrawCenter(mesh.SetMaterial(Unlit({1, 0.5, 1, 1}))),
               ToRgba8({EncodeSrgb(0.5), 0.5, EncodeSrgb(0.25), 1})));
    CHECK(Near(DrawCenter(mesh.SetMaterial(Pbr({0.8, 0.4, 1, 1}, 0, 1))),
               Display(Reflected({0.4, 0.4, 0.25}, 0.0, 1.0))));
}

// ---- Alpha ----

TEST_CASE("An opaque material ignores alpha")
{
    const Rgba8 opaque = DrawCenter(BareQuad().SetMaterial(Pbr({0.5, 0.5, 0.5, 1}, 0, 1)));
    CHECK(DrawCenter(BareQuad().SetMaterial(Pbr({0.5, 0.5, 0.5, 0.25}, 0, 1))) == opaque);
}

TEST_CASE("A masked material shows nothing below the cutoff and all from it on")
{
    const Rgba8 opaque = DrawCenter(BareQuad().SetMaterial(Pbr({0.5, 0.5, 0.5, 1}, 0, 1)));
    const auto material = Pbr({0.5, 0.5, 0.5, 0.25}, 0, 1);
    material->SetAlphaMode(GltfPbrMaterial::AlphaMode::Mask);
    material->SetAlphaCutoff(0.25f);
    CHECK(DrawCenter(BareQuad().SetMaterial(material)) == opaque);
    const auto higher = std::make_shared<GltfPbrMaterial>(*material);
    higher->SetAlphaCutoff(0.26f);
    CHECK(DrawCenter(BareQuad().SetMaterial(higher)) == black);
}

TEST_CASE("A mask cuts through a texture where its alpha crosses the cutoff")
{
    const auto material = Pbr({1, 1, 1, 1}, 0, 1);
    material->SetAlphaMode(GltfPbrMaterial::AlphaMode::Mask);
    material->SetBaseColorTexture(MakeTexture({2, 1}, {Rgba8{255, 255, 255, 255}, Rgba8{255, 255, 255, 0}}));
    const Image image = Draw(Quad().SetMaterial(material), Front(64));
    const Rgba8 white = Display(glm::dvec3(1));
    // The cutoff of 0.5 lies in the middle, and beyond the edge of the texture, where it repeats.
    for (int x = 4; x < 31; ++x)
        CHECK(Near(At(image, x, 32), white));
    for (int x = 33; x < 60; ++x)
        CHECK(At(image, x, 32) == black);
}

TEST_CASE("What blends mixes with what is behind as pictures are mixed")
{
    SceneView view = Front();
    view.background = {0.2, 0.4, 0.6, 1};
    CHECK(Near(DrawCenter(BareQuad().SetMaterial(Unlit({1, 0, 0, 0.25})), view), ToRgba8({0.4, 0.3, 0.45, 1})));

    const auto material = Pbr({0.5, 0.5, 0.5, 0.5}, 0, 1);
    material->SetAlphaMode(GltfPbrMaterial::AlphaMode::Blend);
    const glm::dvec4 lit = ToUnit(Display(Reflected(glm::dvec3(0.5), 0.0, 1.0)));
    CHECK(
        Near(DrawCenter(BareQuad().SetMaterial(material), view), ToRgba8(lit * 0.5 + glm::dvec4(0.1, 0.2, 0.3, 0.5))));
}

TEST_CASE("What blends is drawn from back to front, in whatever order the nodes are, and after what is opaque")
{
    const glm::mat4 back = glm::translate(glm::mat4(1), {0, 0, -0.2});
    const glm::mat4 front = glm::translate(glm::mat4(1), {0, 0, 0.2});
    const ModelNode redBehind = Node(back, Quad().SetMaterial(Unlit({1, 0, 0, 0.5})));
    const ModelNode greenBefore = Node(front, Quad().SetMaterial(Unlit({0, 1, 0, 0.5})));
    const ModelNode white = Node(glm::scale(glm::mat4(1), glm::vec3(2)), Quad().SetMaterial(Unlit(glm::vec4(1))));
    const ModelNode atBack = Node(glm::translate(glm::mat4(1), {0, 0, -0.4}), Quad().SetMaterial(Unlit(glm::vec4(1))));
    const Rgba8 expected = ToRgba8({0.25, 0.5, 0, 1}); // over black: red half, then green half
    CHECK(Near(DrawCenter(ModelOf({redBehind, greenBefore})), expected));
    CHECK(Near(DrawCenter(ModelOf({greenBefore, redBehind})), expected));
    const Rgba8 overWhite = ToRgba8({0.5, 0.75, 0.25, 1});
    CHECK(Near(DrawCenter(ModelOf({greenBefore, redBehind, atBack})), overWhite));
    CHECK(Near(DrawCenter(ModelOf({atBack, redBehind, greenBefore})), overWhite));
    // From behind the order is the other way round; the faces look at +Z, so they are turned.
    SceneView view = Front();
    view.yaw = 180;
    const glm::mat4 turn = glm::rotate(glm::mat4(1), glm::pi<float>(), {0, 1, 0});
    const Model turned = ModelOf({Node(back * turn, Quad().SetMaterial(Unlit({1, 0, 0, 0.5}))),
                                  Node(front * turn, Quad().SetMaterial(Unlit({0, 1, 0, 0.5})))});
    CHECK(Near(DrawCenter(turned, view), ToRgba8({0.5, 0.25, 0, 1})));
    // The opaque one in the middle hides the one behind.
    CHECK(Near(DrawCenter(ModelOf({greenBefore, redBehind, white})), ToRgba8({0.5, 1, 0.5, 1})));
}

TEST_CASE("Of a double-sided thing that blends the inside is drawn first")
{
    const auto material = Pbr({0, 0, 0, 0.5}, 0, 1);
    material->SetEmissiveFactor({1, 1, 1});
    material->SetAlphaMode(GltfPbrMaterial::AlphaMode::Blend);
    material->SetDoubleSided(true);
    const double level = ToUnit(Display(Reflected(glm::dvec3(0), 0.0, 1.0) + glm::dvec3(1))).r;
    CHECK(Near(DrawCenter(Box(1, true).SetMaterial(material)), ToRgba8({level * 0.75, level * 0.75, level * 0.75, 1})));
}

// ---- The background ----

TEST_CASE("The background is kept as it is, and where it is transparent so is the picture")
{
    SceneView view = Front();
    view.background = {0.2, 0.4, 0.6, 1};
    CHECK(IsFilled(Draw(Mesh(), view), {51, 102, 153, 255}));
    view.background.a = 0.5f;
    CHECK(IsFilled(Draw(Mesh(), view), {51, 102, 153, 128}));
    view.distance = 20.0f;
    CHECK(At(Draw(BareQuad(), view), 0, 0) == Rgba8{51, 102, 153, 128});
    view.background.a = 0.0f;
    CHECK(At(Draw(BareQuad(), view), 0, 0) == Rgba8{0, 0, 0, 0});
    CHECK(DrawCenter(BareQuad().SetMaterial(Unlit({1, 0.2, 0, 1})), view) == Rgba8{255, 51, 0, 255});
}

TEST_CASE("On a transparent background colors are not multiplied by alpha")
{
    SceneView view = Front();
    view.background = {0, 0, 0, 0};
    CHECK(Near(DrawCenter(BareQuad().SetMaterial(Unlit({0.8, 0.4, 0.2, 0.1})), view), {204, 102, 51, 26}));
    // Over half of blue: alpha 0.75, of which two thirds are the nearer one.
    view.background = {0, 0, 1, 0.5};
    CHECK(Near(DrawCenter(BareQuad().SetMaterial(Unlit({1, 0, 0, 0.5})), view), ToRgba8({2 / 3.0, 0, 1 / 3.0, 0.75})));
    // An edge is as opaque as it is covered, in its color.
    view.background = {0, 0, 0, 0};
    view.distance = 5.3f; // edges in the midst of pixels
    const Image image = Draw(BareQuad().SetMaterial(Unlit({1, 0.5, 0, 1})), view);
    bool partly = false;
    for (int x = 0; x < 16; ++x)
    {
        const Rgba8 pixel = At(image, x, 8);
        partly = partly || (pixel.a > 0 && pixel.a < 255);
        CHECK((pixel.a == 0 || Near(pixel, {255, 128, 0, pixel.a})));
    }
    CHECK(partly);
}

TEST_CASE("A background that is no color becomes the nearest")
{
    SceneView view = Front();
    view.background = {-1, 2, std::numeric_limits<float>::quiet_NaN(), 1};
    CHECK(IsFilled(Draw(Mesh(), view), {0, 255, 0, 255}));
}

// ---- Faces ----

TEST_CASE("Back faces are culled unless the material is double-sided")
{
    SceneView behind = Front();
    behind.yaw = 180;
    CHECK(IsFilled(Draw(BareQuad(), behind), black));
    CHECK(IsFilled(Draw(BareQuad().SetMaterial(Unlit(red)), behind), black));
    const auto material = Pbr({0.5, 0.5, 0.5, 1}, 0, 0.6f);
    material->SetDoubleSided(true);
    CHECK(Near(DrawCenter(BareQuad().SetMaterial(material), behind), DrawCenter(BareQuad())));
}

TEST_CASE("The back of a double-sided face is lit as a face that looks there")
{
    SceneView behind = Front();
    behind.yaw = 200;
    behind.pitch = 30;
    behind.light = SceneLight::Studio;
    const auto material = Pbr({0.5, 0.5, 0.5, 1}, 0, 0.3f);
    material->SetDoubleSided(true);
    const Mesh front = With(BareQuad(), Attributes::Normal, std::vector<glm::vec3>(4, {0, 0, 1})).SetMaterial(material);
    const Mesh back = With(Indexed(BareQuad(), std::vector<std::uint32_t>{2, 1, 0, 3, 2, 0}), Attributes::Normal,
                           std::vector<glm::vec3>(4, {0, 0, -1}))
                          .SetMaterial(material);
    CHECK(Alike(Draw(front, behind), Draw(back, behind)));
}

TEST_CASE("A node that mirrors keeps the outside of its meshes outside")
{
    SceneView view = Front(32);
    view.light = SceneLight::Studio;
    view.yaw = 30;
    view.pitch = 20;
    view.distance = 4.0f;
    const Mesh box = Box(1, true);
    const Model plain = ModelOf({Node(glm::mat4(1), box)});
    const Model mirrored = ModelOf({Node(glm::scale(glm::mat4(1), {-1, 1, 1}), box)});
    CHECK(Alike(Draw(plain, view), Draw(mirrored, view)));
}

TEST_CASE("A mesh without normals is shaded flat")
{
    SceneView view = Front(32);
    view.light = SceneLight::Studio;
    view.yaw = 30;
    view.pitch = 20;
    view.distance = 4.0f;
    CHECK(Alike(Draw(Box(1, true), view), Draw(Box(1, false), view)));
    const std::vector<glm::vec3> zeros(24, glm::vec3(0));
    CHECK(Alike(Draw(Box(1, true), view), Draw(With(Box(1, false), Attributes::Normal, zeros), view)));
}

TEST_CASE("The studio lights sides differently, and turns with the camera")
{
    SceneView view = Front(64);
    view.light = SceneLight::Studio;
    view.yaw = 40;
    view.pitch = 30;
    view.distance.reset();
    view.focus.reset();
    const Image image = Draw(Box(1, true), view);
    const int left = At(image, 22, 40).r;
    const int right = At(image, 44, 40).r;
    const int top = At(image, 32, 16).r;
    INFO(left << ' ' << right << ' ' << top);
    CHECK(top > left + 10);
    CHECK(left > right + 10);
    view.yaw = 130;
    CHECK(Alike(image, Draw(Box(1, true), view)));
}

// ---- Normal textures ----

TEST_CASE("A normal texture bends the normal along tangent, bitangent and normal")
{
    SceneView view = Front();
    view.light = SceneLight::Studio;
    // (0.6, 0, 0.8) and (0, 0.6, 0.8), up to a level's half.
    const Texture bentRight = OnePixel({204, 128, 230, 255});
    const Texture bentUp = OnePixel({128, 204, 230, 255});
    const auto bentBy = [](const Texture& texture)
    {
        auto material = Pbr({0.5, 0.5, 0.5, 1}, 0.5f, 0.5f);
        material->SetNormalTexture(texture);
        return material;
    };
    const auto facing = [](glm::vec3 normal)
    {
        return With(BareQuad(), Attributes::Normal, std::vector<glm::vec3>(4, glm::normalize(normal)))
            .SetMaterial(Pbr({0.5, 0.5, 0.5, 1}, 0.5f, 0.5f));
    };
    const Image right = Draw(facing({0.6, 0.004, 0.804}), view);
    const Image left = Draw(facing({-0.6, 0.004, 0.804}), view);
    const Image up = Draw(facing({0.004, 0.6, 0.804}), view);
    const Image down = Draw(facing({0.004, -0.6, 0.804}), view);
    REQUIRE_FALSE(Alike(right, left, 4));
    REQUIRE_FALSE(Alike(up, down, 4));

    SECTION("with tangents")
    {
        const Mesh mesh = With(Quad(), Attributes::Tangent, std::vector<glm::vec4>(4, {1, 0, 0, 1}));
        CHECK(Alike(Draw(mesh.SetMaterial(bentBy(bentRight)), view), right, 2));
        CHECK(Alike(Draw(mesh.SetMaterial(bentBy(bentUp)), view), up, 2));
    }
    SECTION("with tangents of the other hand")
    {
        const Mesh mesh = With(Quad(), Attributes::Tangent, std::vector<glm::vec4>(4, {1, 0, 0, -1}));
        CHECK(Alike(Draw(mesh.SetMaterial(bentBy(bentRight)), view), right, 2));
        CHECK(Alike(Draw(mesh.SetMaterial(bentBy(bentUp)), view), down, 2));
    }
    SECTION("without tangents")
    {
        CHECK(Alike(Draw(Quad().SetMaterial(bentBy(bentRight)), view), right, 2));
        CHECK(Alike(Draw(Quad().SetMaterial(bentBy(bentUp)), view), up, 2));
    }
    SECTION("without tangents, on mirrored texture coordinates")
    {
        const std::vector<glm::vec2> uvs{{1, 1}, {0, 1}, {0, 0}, {1, 0}};
        const Mesh mesh = With(BareQuad(), Attributes::TexCoord0, uvs);
        CHECK(Alike(Draw(mesh.SetMaterial(bentBy(bentRight)), view), left, 2));
        CHECK(Alike(Draw(mesh.SetMaterial(bentBy(bentUp)), view), up, 2));
    }
    SECTION("by its scale")
    {
        const auto material = bentBy(bentRight);
        material->SetNormalScale(-1.0f);
        CHECK(Alike(Draw(Quad().SetMaterial(material), view), left, 2));
        const auto none = bentBy(bentRight);
        none->SetNormalScale(0.0f);
        CHECK(Alike(Draw(Quad().SetMaterial(none), view), Draw(facing({0, 0, 1}), view)));
    }
    SECTION("not at all without texture coordinates")
    {
        CHECK(Alike(Draw(BareQuad().SetMaterial(bentBy(bentRight)), view), Draw(facing({0, 0, 1}), view)));
    }
}

// ---- Odd things ----

TEST_CASE("Lines without normals show base color and emission without light")
{
    const auto material = Pbr({0.25, 0.5, 0, 1}, 1, 0.2f);
    material->SetEmissiveFactor({0.25, 0, 0});
    // Many lines beside each other cover the middle of the picture.
    std::vector<glm::vec3> ends;
    for (int i = -40; i <= 40; ++i)
    {
        ends.emplace_back(-1, float(i) * 0.01f, 0);
        ends.emplace_back(1, float(i) * 0.01f, 0);
    }
    const Mesh mesh =
        With(Mesh(), Attributes::Position, ends)
            .SetConnectivity(Connectivity(wgpu::PrimitiveTopology::LineList, 0, wgpu::IndexFormat::Uint32));
    std::vector<std::uint32_t> indices(ends.size());
    for (std::size_t i = 0; i < indices.size(); ++i)
        indices[i] = std::uint32_t(i);
    CHECK(Near(DrawCenter(Indexed(mesh, indices, wgpu::PrimitiveTopology::LineList).SetMaterial(material)),
               Display({0.5, 0.5, 0})));
}

TEST_CASE("Numbers out of range in a material are brought into it, and none upsets the GPU")
{
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const std::uint64_t errors = Graphics::GetCounters().errors;
    const auto material = Pbr({2, -1, nan, 1}, 7, -3);
    CHECK(Near(DrawCenter(BareQuad().SetMaterial(material)), Display(Reflected({1, 0, 0}, 1.0, 0.0))));
    const auto odd = Pbr(glm::vec4(nan), nan, infinity);
    odd->SetEmissiveFactor({infinity, -infinity, nan});
    odd->SetNormalScale(infinity);
    odd->SetNormalTexture(OnePixel({255, 255, 255, 255}));
    odd->SetOcclusionStrength(nan);
    odd->SetAlphaCutoff(nan);
    CHECK(DrawCenter(Quad().SetMaterial(odd)).a == 255);
    CHECK(Graphics::GetCounters().errors == errors);
    CHECK_FALSE(Graphics::IsLost());
}
