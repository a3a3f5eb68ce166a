#pragma once

#include "Varkle/Gpu/Texture.h"

#include <glm/vec2.hpp>
#include <string>
#include <string_view>
#include <vector>

// Stands in for the header of the same name: the window operators are compiled once more with it, in a program of their
// own whose include path finds it first. Its window opens nothing. It notes each call with its values, and its getters
// return what a test put there. The names lie in an inline namespace, so that they are not those of the library's
// class.
namespace Varkle::Gui
{

inline namespace Recording
{

enum class SizeUnit
{
    Physical = 0,
    Logical = 1,
};

class OutputWindow
{
public:
    OutputWindow() { ++living; }
    ~OutputWindow() { --living; }
    OutputWindow(const OutputWindow&) = delete;
    OutputWindow& operator=(const OutputWindow&) = delete;

    void SetTexture(const Texture& newTexture)
    {
        texture = newTexture;
        calls.emplace_back(newTexture ? "SetTexture" : "SetTexture empty");
    }
    void SetTitle(std::string_view title) { calls.push_back("SetTitle " + std::string(title)); }
    void SetOpen(bool on) { Note("SetOpen", on); }
    void SetSize(const glm::ivec2& size, SizeUnit unit)
    {
        Note("SetSize", size);
        calls.back() += unit == SizeUnit::Logical ? " logical" : " physical";
    }
    void SetPosition(const glm::ivec2& newPosition) { Note("SetPosition", newPosition); }
    void SetFullscreen(bool on) { Note("SetFullscreen", on); }
    void SetDecorated(bool on) { Note("SetDecorated", on); }
    void SetAlwaysOnTop(bool on) { Note("SetAlwaysOnTop", on); }
    void SetTransparent(bool on) { Note("SetTransparent", on); }
    void SetInteractive(bool on) { Note("SetInteractive", on); }

    bool IsOpen() const { return open; }
    bool IsFullscreen() const { return fullscreen; }
    bool IsMinimized() const { return minimized; }
    glm::ivec2 GetResolution() const { return resolution; }
    glm::ivec2 GetLogicalSize() const { return logicalSize; }
    glm::ivec2 GetPosition() const { return position; }
    float GetScale() const { return scale; }
    float GetRefreshRate() const { return refreshRate; }

    static inline int living = 0; // how many windows there are
    std::vector<std::string> calls;
    Texture texture;

    bool open = false;
    bool fullscreen = false;
    bool minimized = false;
    glm::ivec2 resolution{0, 0};
    glm::ivec2 logicalSize{0, 0};
    glm::ivec2 position{0, 0};
    float scale = 0.0f;
    float refreshRate = 0.0f;

private:
    void Note(const std::string& call, bool on) { calls.push_back(call + (on ? " on" : " off")); }
    void Note(const std::string& call, const glm::ivec2& value)
    {
        calls.push_back(call + " " + std::to_string(value.x) + " " + std::to_string(value.y));
    }
};

} // namespace Recording

} // namespace Varkle::Gui
