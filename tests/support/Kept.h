#pragma once

#include <memory>
#include <utility>
#include <vector>

namespace vmr::test {

/// An object that lives as long as the process, as a host's services do. Leak checkers see it.
template <class Object, class... Arguments>
Object &kept(Arguments &&...arguments) {
    static auto &all = *new std::vector<std::unique_ptr<Object>>;
    return *all.emplace_back(std::make_unique<Object>(std::forward<Arguments>(arguments)...));
}

} // namespace vmr::test
