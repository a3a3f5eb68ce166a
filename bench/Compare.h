#pragma once

#include <functional>
#include <glm/vec2.hpp>
#include <string>

namespace Varkle::Bench
{

/// Says how things are measured.
struct Effort
{
    int rounds = 40;
    int passesForCpu = 50;
    glm::ivec2 size{1920, 1080}; ///< of the pictures
    unsigned vertices = 1000000; ///< of the meshes
    /// Takes the processor time of the whole process in place of the time that passes. With a driver that draws on the
    /// CPU it is steadier while other programs run; for a GPU it says nothing.
    bool processTime = false;
};

/// Says what of a pass is timed.
enum class Measured
{
    WholePass, ///< until the GPU has finished it
    Cpu,       ///< what the calling thread does for it, waiting aside
};

/// Prints the head of the table that Compare prints.
void PrintHeader();

/// Times both by turns and prints a line with the medians, their ratio, and the GPU objects that were created
/// meanwhile. Both run some times before, so that compiling and filling pools is over.
void Compare(const std::string& name, const Effort& effort, Measured measured, const std::function<void()>& ours,
             const std::function<void()>& bare);

} // namespace Varkle::Bench
