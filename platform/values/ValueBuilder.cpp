#include "platform/values/ValueBuilder.h"

#include <utility>

namespace qvx::platform {

bool ValueBuilder::open(bool isDictionary) {
    open_.push_back({isDictionary, {}, {}, {}});
    return open_.size() <= maximumDepth;
}

bool ValueBuilder::close() {
    Container closed = std::move(open_.back());
    open_.pop_back();
    if (closed.key)
        return false;
    return add(closed.isDictionary ? Value(Dictionary::withItems(std::move(closed.items)))
                                   : Value(std::move(closed.values)));
}

bool ValueBuilder::setKey(std::string key) {
    if (open_.empty() || !open_.back().isDictionary || open_.back().key)
        return false;
    open_.back().key = std::move(key);
    return true;
}

bool ValueBuilder::add(Value value) {
    if (open_.empty()) {
        if (result_)
            return false;
        result_ = std::move(value);
        return true;
    }
    Container& container = open_.back();
    if (!container.isDictionary) {
        container.values.push_back(std::move(value));
        return true;
    }
    if (!container.key)
        return false;
    container.items.emplace_back(*std::exchange(container.key, std::nullopt), std::move(value));
    return true;
}

} // namespace qvx::platform
