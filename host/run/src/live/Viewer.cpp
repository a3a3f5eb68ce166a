#include "live/Viewer.h"

#include "Varkle/Gpu/Ports.h"
#include "Varkle/Gpu/Windows.h"

#include <algorithm>
#include <cmath>
#include <glm/common.hpp>
#include <utility>

namespace Varkle
{

namespace
{

constexpr glm::ivec2 usualSize{1280, 720};
constexpr float leastSide = 320.0f; // of the longer one: smaller pictures are enlarged
constexpr float shareOfDisplay = 2.0f / 3.0f;
constexpr float degreesPerPixel = 0.4f;
constexpr float steepest = 89.0f;
constexpr float zoomPerStep = 0.9f;

Texture GetTexture(const Operator& op)
{
    const auto* const output = dynamic_cast<const TextureOutput*>(op.GetOutputs()[0]);
    return output ? output->GetTexture() : Texture();
}

// Keeps the proportions.
glm::ivec2 ChooseSize(const glm::ivec2& wanted, const glm::ivec2& display)
{
    const auto size = glm::vec2(wanted);
    const glm::vec2 room = glm::vec2(display) * shareOfDisplay / size;
    const float scale = std::min({std::max(1.0f, leastSide / std::max(size.x, size.y)), room.x, room.y});
    return glm::max(glm::ivec2(glm::round(size * scale)), glm::ivec2(1));
}

} // namespace

void Viewer::Show(const Operator& op, const std::string& title)
{
    if (std::exchange(shown, &op) != &op)
        settled = false;
    window.SetTitle(title);
    const bool isTexture = dynamic_cast<const TextureOutput*>(op.GetOutputs()[0]) != nullptr;
    if (!opened)
        Open(op);
    if (!IsWanted())
        return;
    if (isTexture)
        window.SetTexture(GetTexture(op));
    else
        ShowScene(op);
}

void Viewer::Open(const Operator& op)
{
    opened = true;
    const std::vector<Gui::Display> displays = Gui::Windows::GetDisplays();
    const Gui::Display display = displays.empty() ? Gui::Display{"", {0, 0}, usualSize} : displays.front();
    const Texture texture = GetTexture(op);
    const glm::ivec2 wanted = texture ? glm::ivec2(texture.GetWidth(), texture.GetHeight()) : usualSize;
    const glm::ivec2 size = ChooseSize(wanted, display.size);
    window.SetSize(size, Gui::SizeUnit::Physical);
    window.SetPosition(display.position + (display.size - size) / 2);
    window.SetOpen(true);
}

void Viewer::Close()
{
    window.SetOpen(false);
    Release();
    shown = nullptr;
    opened = false;
}

void Viewer::Release()
{
    window.SetTexture({});
    settled = false;
}

bool Viewer::IsWanted() const
{
    return !opened || window.IsVisible();
}

void Viewer::Turn()
{
    const Gui::PointerMotion motion = window.TakePointerMotion();
    if (motion.drag != glm::vec2(0.0f))
    {
        view.yaw = std::fmod(view.yaw - degreesPerPixel * motion.drag.x, 360.0f);
        view.pitch = std::clamp(view.pitch + degreesPerPixel * motion.drag.y, -steepest, steepest);
        settled = false;
    }
    if (motion.scroll != 0.0f)
    {
        zoom = std::clamp(zoom * std::pow(zoomPerStep, motion.scroll), 0.05f, 20.0f);
        settled = false;
    }
}

// What moves is drawn without waiting for the GPU to say how large it is, and once more when it stands still.
void Viewer::ShowScene(const Operator& op)
{
    Turn();
    const unsigned long drawn = std::exchange(executions, op.GetExecutionCount());
    const bool changed = drawn != executions;
    const glm::ivec2 size = glm::max(window.GetResolution(), glm::ivec2(1));
    if (!changed && settled && size == view.size)
        return;
    settled = !changed;
    view.size = size;
    view.mayWait = !changed;
    const std::optional<SceneFocus> focus = renderer.GetFocus();
    view.distance.reset();
    if (focus && zoom != 1.0f)
        view.distance = zoom * GetFittingDistance(*focus);

    const DataOutput* const output = op.GetOutputs()[0];
    if (const auto* const mesh = dynamic_cast<const MeshOutput*>(output))
        window.SetTexture(renderer.Render(mesh->GetMeshData().GetMesh(), view));
    else if (const auto* const model = dynamic_cast<const ModelOutput*>(output))
        window.SetTexture(renderer.Render(model->GetModel(), view));
    else if (const auto* const material = dynamic_cast<const MaterialOutput*>(output))
        window.SetTexture(renderer.Render(material->GetMaterialData().GetMaterial(), view));
}

} // namespace Varkle
