#include "model/Transform.h"
#include "model/GltfMaker.h"
#include "support/Catch.h"
#include "support/LogRecorder.h"
#include "support/OperatorChecks.h"
#include "support/OperatorRunner.h"

using namespace Varkle;
using namespace Varkle::Testing;

TEST_CASE("Model Transform has a model input and a model output, and nothing to set")
{
    OperatorRunner<TransformModel> runner;
    CHECK(DescribePorts(runner.Get()) == Lines{"Model Input: takes Model", "Model Output: gives Model"});
    CHECK(runner.Get().GetParameters().empty());
}

TEST_CASE("Model Transform passes nothing on")
{
    const TemporaryFolder folder;
    WriteBytes(folder / "triangle.glb", MakeTriangle().ToBinary());
    const LogRecorder heard;
    Graph graph;
    auto* const source = static_cast<Load3DModel*>(graph.Add(Load3DModel::Type(), "source"));
    Operator* const first = graph.Add(TransformModel::Type(), "first");
    Operator* const second = graph.Add(TransformModel::Type(), "second");
    source->SetFilePath(folder / "triangle.glb");
    REQUIRE(graph.Connect(*source->GetOutputs()[0], *first->FindInput("Model Input")));
    REQUIRE(graph.Connect(*first->GetOutputs()[0], *second->FindInput("Model Input")));
    graph.Run();

    CHECK(static_cast<ModelInput*>(first->FindInput("Model Input"))->HasModel());
    CHECK(first->GetExecutionCount() == 1);
    CHECK_FALSE(first->GetOutputs()[0]->IsActive());
    CHECK_FALSE(static_cast<ModelInput*>(second->FindInput("Model Input"))->HasModel());
    CHECK(heard.lines.empty());
}
