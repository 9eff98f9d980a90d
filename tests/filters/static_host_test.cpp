#include <gtest/gtest.h>

#include "ybaselib/yobject.h"

// Of the library's headers, none: what is there is found by name alone.

namespace {

// Even an initialiser of the program's own finds the classes.
const YClassDefinition* const foundAtStart = YClassRegistry::Find("YFCurveFilter_TestTemplate");

TEST(StaticHost, FindsEveryFilterByName)
{
    ASSERT_NE(foundAtStart, nullptr);
    const YClassDefinition* base = YClassRegistry::Find("YFCurveFilter");
    ASSERT_NE(base, nullptr);
    for (const YClassDefinition* c = YClassRegistry::GetFirst(); c != nullptr;
         c = YClassRegistry::GetNext(*c)) {
        if (c == base || !c->IsDerivedFrom(*base)) continue;
        SCOPED_TRACE(c->GetName());
        YObject* filter = c->CreateObject();
        ASSERT_NE(filter, nullptr);
        filter->Destroy();
    }
}

}  // namespace
