#pragma once

#include "Varkle/Document/DocumentEdit.h"
#include "Varkle/Document/DocumentQuery.h"
#include "Varkle/Document/GraphSession.h"
#include "Varkle/Document/Json.h"
#include "value/ParameterValue.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace Varkle
{

struct Difference;

/// Is a value that the document or the user gave a parameter, and the parameter while there is one.
struct Setting
{
    std::string bundleList; ///< empty for the operator's own parameters
    std::size_t bundle = 0;
    std::string name;
    SourcePosition at; ///< of the name; line 0 for one that stands in no document
    JsonValue json;
    WeakObject parameter;
    std::optional<ParameterValue> value; ///< read when the parameter, and so its type, is known
    std::vector<double> numbers;         ///< that the parameter was last set to
};

/// Holds what was set of one operator.
struct OperatorSettings
{
    WeakObject object;
    std::vector<std::unique_ptr<Setting>> settings; ///< in document order
    unsigned long structureVersion = 0;             ///< of the operator when they were last applied
};

/// Is a parameter that was set for this run, whatever the document says.
struct Override
{
    std::string key; ///< of the operator
    std::string parameter;
    JsonValue json;
};

/// Holds what was set of an operator by the document before the present one.
struct Predecessor
{
    std::vector<std::unique_ptr<Setting>> settings;
    std::unordered_map<const Parameter*, Setting*> byParameter; ///< the parameters may have been deleted meanwhile
    const Operator& model; ///< has what the present document says, and otherwise what a new operator has
    bool sameFolder;       ///< whether paths mean the same as before
    std::unordered_set<const Setting*> reset; ///< those whose parameters are no longer mentioned and were reset
};

/// Returns the operator that the settings are for, null when it has been deleted.
inline Operator* GetOperator(const OperatorSettings& settings)
{
    return static_cast<Operator*>(settings.object.Get());
}

/// Returns the parameter that a value was given to, null when there is none at the moment.
inline Parameter* GetParameter(const Setting& setting)
{
    return static_cast<Parameter*>(setting.parameter.Get());
}

/// Returns the parameter of an operator that the setting is for, null when there is none.
Parameter* FindParameter(const Operator& op, const Setting& setting);

/// Forgets what was set of an operator's own parameter.
void RemoveSetting(OperatorSettings& ofOperator, std::string_view parameter);

/// True when parameters of the operator decide which others it has.
bool HasStructureParameters(const Operator& op);

/// Returns the beginning of a message about an operator: `operator "soft": `.
std::string InOperator(const Operator& op);

/// Returns a message for a name that none of an operator's parameters has.
std::string NoSuchParameter(const Operator& op, std::string_view name);

/// Waits while so many read-backs, pieces of work and frames are under way that pictures would pile up in memory: for
/// graphs that save more of them than the machine can encode, or draw faster than the GPU.
void WaitForBacklog();

/// Holds what a session consists of.
struct SessionState
{
    explicit SessionState(GraphDocument loaded) : document(std::move(loaded)) {}
    /// Is for one that is built for a frame, but never run.
    SessionState(GraphDocument loaded, long long onlyFrame) : document(std::move(loaded)), frame(onlyFrame), runs(false)
    {
    }
    SessionState(const SessionState&) = delete;
    SessionState& operator=(const SessionState&) = delete;
    /// Waits for the work that operators started: the plug-in whose code it runs may be unloaded next.
    ~SessionState();

    /// Makes the operators, connects them and sets their parameters. What is wrong lies in `errors` afterwards.
    void Build();
    /// Sets the clock, evaluates expressions, sets parameters that are new, runs pending main-thread work, and waits
    /// while there is too much of it.
    void GoToFrame(long long newFrame);
    Status SetParameter(std::string_view target, std::string_view text);
    Status Update(GraphDocument wanted);
    Status Apply(const DocumentChange& change);
    Result<DocumentChange> Apply(const DocumentEdit& edit);
    bool IsAnimated(const Operator& op) const;
    std::vector<MissingFile> FindMissingFiles() const;
    /// Returns a message for a key that no operator has.
    std::string UnknownOperator(std::string_view key) const;

    bool AddOperators();
    void ConnectInput(Operator& op, const JsonMember& input);
    void ConnectFrom(const Operator& op, const std::string& input, const JsonValue& json,
                     const std::function<Status(DataOutput&)>& connect);
    void CollectSettings(const JsonValue& json, OperatorSettings& ofOperator);
    void CheckBundleCounts(const Operator& op, const JsonValue& json);
    void CheckParameters(const OperatorSettings& ofOperator);

    Status FollowChange(const DocumentChange& change);
    std::optional<Status> FollowValue(const DocumentChange& change);
    Status Follow(const Difference& difference, bool sameFolder);
    void FollowOrder();
    void FollowSettings(std::size_t place, const Graph& model, bool sameFolder);
    static void RefreshPlaces(const JsonValue& json, OperatorSettings& ofOperator);
    bool ResetDropped(const OperatorSettings& ofOperator, bool structure, Predecessor& before);
    void ApplyAfter(const Predecessor& before, const Operator& op, Setting& setting, Parameter& parameter);

    bool ApplyNew(OperatorSettings& ofOperator, bool structure, Predecessor* before);
    void ApplySettings(OperatorSettings& ofOperator, Predecessor* before = nullptr);
    void Apply(const Operator& op, Setting& setting, Parameter& parameter, bool waitsForFrame = false);
    bool ApplyToNewParameters();
    void FindAnimated();
    void EvaluateAnimated();
    Operator* FindTarget(std::string_view target, std::string_view& parameter) const;
    Status NoSuchTarget(std::string_view target) const;
    OperatorSettings& SettingsOf(Operator& op);

    void Add(SourcePosition at, std::string message);
    void LogErrors();
    Status TakeErrors();
    ExpressionClock Clock() const;

    GraphDocument document;
    Graph graph;
    std::vector<OperatorSettings> settings; ///< by operator
    std::vector<std::size_t> structured;    ///< those whose parameters come and go
    std::vector<Setting*> animated;         ///< to be evaluated on every frame
    std::vector<Override> overrides;        ///< in the order in which they were set
    std::vector<DocumentError> errors;      ///< what came up since they were last taken
    long long frame = 0;
    bool runs = true;
};

} // namespace Varkle
