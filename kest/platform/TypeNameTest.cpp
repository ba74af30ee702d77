#include "kest/platform/TypeName.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace Tallowmere::platform {

class NamedFailure : public std::logic_error {
public:
    using std::logic_error::logic_error;
};

namespace {

TEST(TypeName, IsReadable) {
    EXPECT_EQ("std::runtime_error", typeName(typeid(std::runtime_error)));
    const NamedFailure failure("x");
    const std::exception& base = failure;
    EXPECT_EQ("Tallowmere::platform::NamedFailure", typeName(typeid(base)));
    EXPECT_EQ("int", typeName(typeid(int)));
}

}  // namespace
}  // namespace Tallowmere::platform
