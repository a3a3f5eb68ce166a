#pragma once

#include "app/Documents.h"
#include "app/ProgramRunner.h"
#include "support/Catch.h"
#include "support/VirtualDisplay.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>

namespace Varkle
{

inline constexpr Testing::Rgba8 black{0, 0, 0};
inline constexpr Testing::Rgba8 red{255, 0, 0};
inline constexpr Testing::Rgba8 green{0, 255, 0};
inline constexpr Testing::Rgba8 blue{0, 0, 255};

/// Returns a Window operator that is open, 320 by 200 pixels. `more` is further parameters, which win.
inline std::string WindowOperator(const std::string& key, const std::string& source, const std::string& more = "")
{
    auto parameters = nlohmann::json::parse(R"({"Open": true, "Size": [320, 200], "Title": ")" + key + "\"}");
    parameters.update(nlohmann::json::parse("{" + more + "}"));
    const std::string input = source.empty() ? "null" : '"' + source + '"';
    return R"({"key": ")" + key + R"(", "type": "Varkle.IO.System.Window", "inputs": {"Texture Input": )" + input +
           R"(}, "parameters": )" + parameters.dump() + "}";
}

/// Returns a Window Info operator with the key "info" and one with the key "report" that logs what it says.
inline std::string Reporting(const std::string& window, const std::string& value = "0")
{
    return R"({"key": "info", "type": "Varkle.IO.System.WindowInfo", "parameters": {"Window": ")" + window +
           R"("}}, {"key": "report", "type": "Test.Reporter", "parameters": {"Operator": "info", "Value": )" + value +
           "}}";
}

/// Returns a Color operator with a picture of a window's proportions.
inline std::string Paint(const std::string& key, const std::string& color)
{
    return ColorOperator(key, color, R"("Texture Size": [32, 20])");
}

/// Is a small desktop with a window manager, and a folder with a graph that is played on it.
class Show
{
public:
    explicit Show(const std::string& operators, bool compositor = false) : display({{800, 600}, true, compositor, 1.0})
    {
        Save(operators);
    }

    /// Replaces the document at once, as editors do.
    void Save(const std::string& operators) const
    {
        WriteBytes(folder / "graph.new", Document(operators));
        std::filesystem::rename(folder / "graph.new", folder / "graph.varkle");
    }

    /// Describes playing it.
    ProgramRunner Playing(const std::vector<std::string>& options = {}) const
    {
        const std::vector<std::string> plugins = {"--plugin", TEST_OPERATORS_PLUGIN};
        return Program(Joined(Joined({"play", "graph.varkle"}, plugins), options)).In(folder.GetPath());
    }
    /// Starts playing it.
    void Play(const std::vector<std::string>& options = {}) { program.emplace(Playing(options).Start()); }
    /// Plays it and waits for the window with that title.
    Testing::WindowId Play(const std::string& title, const std::vector<std::string>& options = {})
    {
        Play(options);
        return WaitForWindow(title);
    }

    /// Waits as VirtualDisplay does; a failure tells what the program had printed, too.
    void Until(const std::string& what, const std::function<bool()>& condition)
    {
        try
        {
            display.WaitUntil(what, condition);
        }
        catch (const std::exception& failure)
        {
            program->Send(SIGKILL);
            throw std::runtime_error(failure.what() + std::string("; the program said:\n") + program->Wait().error);
        }
    }
    Testing::WindowId WaitForWindow(const std::string& title)
    {
        Until("there is the window " + title, [&] { return display.Find(title) && display.IsShown(Find(title)); });
        return Find(title);
    }
    void WaitForNoWindow(const std::string& title)
    {
        Until("the window " + title + " has gone", [&] { return display.FindAll(title).empty(); });
    }
    Testing::WindowId Find(const std::string& title) { return display.Find(title); }

    /// Waits until the window's contents are there.
    void UntilAt(Testing::WindowId window, const Testing::Area& area)
    {
        Until("the window is " + Catch::Detail::stringify(area), [&] { return display.GetArea(window) == area; });
    }
    /// Returns the pixel at a position in the window, as the desktop shows it.
    Testing::Rgba8 GetPixel(Testing::WindowId window, glm::ivec2 position)
    {
        return display.GetPixel(display.GetArea(window).position + position);
    }
    /// Waits until it has that color, within a level.
    void UntilPixel(Testing::WindowId window, glm::ivec2 position, Testing::Rgba8 color)
    {
        Testing::Rgba8 last;
        Until("a pixel is " + Catch::Detail::stringify(color),
              [&] { return Near(last = GetPixel(window, position), color); });
    }
    /// Waits until the middle of a window with a moving picture has changed a few times.
    void UntilMoved(Testing::WindowId window)
    {
        for (int i = 0; i < 3; ++i)
        {
            const Testing::Rgba8 before = GetPixel(window, {160, 100});
            Until("the picture moves", [&] { return GetPixel(window, {160, 100}) != before; });
        }
    }

    /// Waits until the program has printed that on standard error, so many times in all.
    void WaitForError(std::string_view text, int times = 1)
    {
        if (!program->WaitForError(text, times))
            FAIL("waited in vain for \"" << text << "\"; the program said:\n" << program->Wait().error);
    }
    /// Waits for its end. What it said does not have the line that tells the keys.
    Outcome Wait() { return WithoutKeys(program->Wait()); }
    /// Ends it as a user does in the terminal.
    Outcome Interrupt()
    {
        program->Send(SIGINT);
        return Wait();
    }
    static Outcome WithoutKeys(Outcome outcome)
    {
        if (const std::size_t at = outcome.error.find(keys); at != std::string::npos)
            outcome.error.erase(at, keys.size());
        return outcome;
    }

    static constexpr std::string_view keys =
        "info: F fills the display with a window, Escape ends that; Ctrl-C ends the show.\n";

    Testing::VirtualDisplay display;
    TemporaryFolder folder;
    std::optional<RunningProgram> program;
};

inline void CheckIsDone(const Outcome& outcome)
{
    CHECK(outcome.status == 0);
    CHECK(outcome.signal == 0);
    CHECK(outcome.output == nothing);
    CHECK(outcome.error == nothing);
}

/// A color that changes on every frame and has full blue, unlike black.
inline const std::string moving = R"color(["fract(frame / 64)", 0, 1])color";

} // namespace Varkle
