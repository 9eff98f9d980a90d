#include <dlfcn.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <thread>

#include "ybaselib/ydatatype.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvefilter.h"
#include "yfcurve/yfcurvenode.h"

// A host that loads the library as a plug-in gets rid of it again.

// The pools of keys stay, for curves that end later than the library's own data: leak checks would list them.
extern "C" [[gnu::visibility("default")]] int __lsan_is_turned_off()
{
    return 1;
}

namespace {

class Library
{
  public:
    Library() : mHandle(dlopen(YFCURVE_LIBRARY, RTLD_NOW | RTLD_LOCAL)) {}
    ~Library() { dlclose(mHandle); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    explicit operator bool() const { return mHandle != nullptr; }

    template<class Function>
    Function* Find(const char* name) const
    {
        auto* const function = reinterpret_cast<Function*>(dlsym(mHandle, name));
        EXPECT_NE(function, nullptr) << name;
        return function;
    }

  private:
    void* mHandle;
};

bool IsMapped(const std::string& library)
{
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(library) != std::string::npos) return true;
    }
    return false;
}

// Makes something of each kind that keeps records: curves, nodes, types, filters with their registry, errors.
void Use(const Library& library)
{
    auto* const findType = library.Find<YDataType*(const char*)>("_ZN9YDataType4FindEPKc");
    auto* const createNode =
        library.Find<YFCurveNode*(YDataType*, const char*)>("_Z28FCurveNodeCreateFromDataTypeP9YDataTypePKc");
    auto* const createCurves = library.Find<void(YFCurveNode*)>("_ZN11YFCurveNode12CreateFCurveEv");
    auto* const addKeys =
        library.Find<const double*(YFCurveNode*, YTime, const double*)>("_ZN11YFCurveNode6KeyAddE5YTimePKd");
    auto* const lastError = library.Find<const char*()>("_ZN12YFCurveUtils18GetLastErrorStringEv");
    auto* const createFilter = library.Find<YFCurveFilter*(const char*)>("_Z19YFCurveFilterCreatePKc");

    YFCurveNode* const node = createNode(findType("Lcl Translation"), "node");
    createCurves(node);
    const double values[] = {1.0, 2.0, 3.0};
    for (int second = 0; second < 100; ++second) addKeys(node, YTime(second * 1000), values);
    YFCurveFilter* const filter = createFilter("YFCurveFilterSmooth");
    ASSERT_NE(filter, nullptr);
    filter->Reset();
    EXPECT_TRUE(filter->Apply(*node, true));
    EXPECT_STREQ(lastError(), "");  // of this thread
    filter->Destroy();
    node->Destroy();
}

}  // namespace

TEST(Unload, LeavesNeitherLibraryBehind)
{
    for (int round = 0; round < 3; ++round) {
        ASSERT_FALSE(IsMapped("libyfcurve") || IsMapped("libybaselib")) << "round " << round;
        const Library library;
        ASSERT_TRUE(library) << dlerror();
        EXPECT_TRUE(IsMapped("libyfcurve") && IsMapped("libybaselib"));
        Use(library);
        std::thread(Use, std::cref(library)).join();
    }
    EXPECT_FALSE(IsMapped("libyfcurve") || IsMapped("libybaselib"));
    EXPECT_EQ(dlopen(YFCURVE_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr);
}
