#pragma once

#include "Varkle/Core/Result.h"
#include "Varkle/Gpu/Glb.h"

#include <cstddef>
#include <cstdint>
#include <glm/vec3.hpp>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace Varkle::Glb
{

using Json = nlohmann::json;

/// Returns numbers as a JSON array.
Json ToJson(std::span<const float> values);
Json ToJson(const glm::dvec3& v);

/// Says what the bytes of a buffer view are for, in the format's own numbers.
enum class ViewTarget
{
    None = 0,
    Attribute = 34962,
    Indices = 34963,
};

/// Is a binary glTF file while it is put together: its JSON, and the bytes that its buffer views show.
class GlbFile
{
public:
    /// The JSON's outermost object.
    Json root = Json::object();

    /// Adds an element to one of the outermost lists ("nodes") and returns its place there.
    std::size_t Add(const char* list, Json element);
    /// Adds a view of bytes, which must live until Finish, and returns its place.
    std::size_t AddView(std::span<const std::byte> bytes, ViewTarget target);

    /// Keeps values alive until Finish.
    template<class T>
    std::span<const T> Keep(std::vector<T> values)
    {
        const auto shared = std::make_shared<const std::vector<T>>(std::move(values));
        kept.push_back(shared);
        return *shared;
    }

    /// Notes that the file uses an extension.
    void UseExtension(const char* name) { extensions.insert(name); }

    /// Logs a warning about what is not in the file as it was asked for, each text once.
    void Warn(const std::string& text);

    /// Hands the file over, piece by piece. Errors: it would be larger than 4 GiB, and those of the sink.
    Status Finish(const GlbSink& sink);

private:
    std::vector<std::span<const std::byte>> views;
    std::uint64_t viewsEnd = 0;
    std::vector<std::shared_ptr<const void>> kept;
    std::set<std::string> extensions;
    std::set<std::string> warned;
};

} // namespace Varkle::Glb
