#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Varkle
{

/// Logs as warnings what is odd about a model that is read all the same: the first ten remarks as they come, and at the
/// end how many more there were. A file can give rise to hundreds of thousands.
class GltfRemarks
{
public:
    /// `subject` is how messages call the model: `The model "chair.glb"`.
    explicit GltfRemarks(std::string subject) : model(std::move(subject)) {}
    ~GltfRemarks();
    GltfRemarks(const GltfRemarks&) = delete;
    GltfRemarks& operator=(const GltfRemarks&) = delete;

    /// Adds a remark, a sentence of its own.
    void Add(std::string_view sentence);

    /// Adds that a picture or buffer of the model is left out, and why: a sentence.
    void AddLeftOut(std::string_view kind, std::string_view name, std::string_view reason);

private:
    std::string model;
    std::size_t count = 0;
};

} // namespace Varkle
