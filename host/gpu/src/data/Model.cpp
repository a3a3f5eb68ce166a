#include "Varkle/Gpu/Model.h"

#include <iterator>

namespace Varkle
{

// The tree below is taken apart in a loop: one destructor calling the next would need stack for every level.
ModelNode::~ModelNode()
{
    std::vector<std::shared_ptr<const ModelNode>> orphans = std::move(children);
    while (!orphans.empty())
    {
        const std::shared_ptr<const ModelNode> node = std::move(orphans.back());
        orphans.pop_back();
        if (node.use_count() > 1)
            continue; // someone else keeps it and takes it apart later
        // Only ours, and made without const by AddChild and SetRootNode.
        auto& grandchildren = const_cast<ModelNode&>(*node).children;
        orphans.insert(orphans.end(), std::make_move_iterator(grandchildren.begin()),
                       std::make_move_iterator(grandchildren.end()));
        grandchildren.clear();
    }
}

// By value: the node to copy may be below this one and would go with the old children before it was copied.
ModelNode& ModelNode::operator=(ModelNode other) noexcept
{
    transform = other.transform;
    meshInstances.swap(other.meshInstances);
    children.swap(other.children);
    return *this;
}

void ModelNode::AddChild(ModelNode child)
{
    children.push_back(std::make_shared<ModelNode>(std::move(child)));
}

void Model::SetRootNode(ModelNode node)
{
    root = std::make_shared<ModelNode>(std::move(node));
}

} // namespace Varkle
