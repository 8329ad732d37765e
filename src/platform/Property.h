#pragma once

#include "platform/Locked.h"

#include <utility>

/// Among a class's public members: a property that any thread may read and set, under its own
/// names.
#define VMR_PROPERTY(Type, name, setName)                                                          \
    Type name() const {                                                                            \
        return name##_.get();                                                                      \
    }                                                                                              \
    void setName(Type value) {                                                                     \
        name##_.set(std::move(value));                                                             \
    }                                                                                              \
                                                                                                   \
private:                                                                                           \
    Locked<Type> name##_;                                                                          \
                                                                                                   \
public:                                                                                            \
    static_assert(true, "takes the semicolon")

/// The same for objects of which each is used by one thread at a time.
#define VMR_PLAIN_PROPERTY(Type, name, setName)                                                    \
    const Type &name() const {                                                                     \
        return name##_;                                                                            \
    }                                                                                              \
    void setName(Type value) {                                                                     \
        name##_ = std::move(value);                                                                \
    }                                                                                              \
                                                                                                   \
private:                                                                                           \
    Type name##_{};                                                                                \
                                                                                                   \
public:                                                                                            \
    static_assert(true, "takes the semicolon")
