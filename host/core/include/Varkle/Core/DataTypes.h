#pragma once

#include "Varkle/Core/Export.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace Varkle
{

class DataOutput;

/// Is a value that tells something of data: nothing, a truth, a number, a text, a list of such values, or named ones in
/// their order. Programs turn it into JSON or into what an editor shows.
struct DataDescription
{
    using List = std::vector<DataDescription>;
    using Members = std::vector<std::pair<std::string, DataDescription>>;

    std::variant<std::monostate, bool, long long, float, double, std::string, List, Members> value;
};

/// Is a type of data that goes along connections. Its outputs and inputs are classes of their own (DataOutput,
/// DataInput), which give its name.
struct DataType
{
    /// The word for it in operator documents and messages: "Texture". What GetDataTypeName of its outputs and inputs
    /// returns.
    std::string name;
    /// Tells what an output of the type carries, by names; called only while it is active. May be empty.
    std::function<DataDescription::Members(const DataOutput& output)> describe;
};

/// Makes a type of data known to the process as long as it lives: what operator documents may call their inputs and
/// outputs, and what inspection says of them. A plug-in makes one when it is loaded and lets it go before it is
/// unloaded. Main thread only.
class VARKLE_API DataTypeRegistration
{
public:
    /// Of two types of one name the first counts; the second registration is a warning in the log and does nothing.
    explicit DataTypeRegistration(DataType type);
    ~DataTypeRegistration();
    DataTypeRegistration(const DataTypeRegistration&) = delete;
    DataTypeRegistration& operator=(const DataTypeRegistration&) = delete;

private:
    std::string name; // empty when it was refused
};

/// Returns the type of that name, or null. Valid while its registration lives.
VARKLE_API const DataType* FindDataType(std::string_view name);

} // namespace Varkle
