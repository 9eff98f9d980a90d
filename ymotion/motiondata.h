#pragma once

#include <exception>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "ymotion/formats/scene_file.h"
#include "ymotion/text/failure.h"
#include "ymotion/ymotion.h"

/// \file
/// The data of `YMotion`, and what its sources share.

struct YMotion::Data
{
    Data() = default;
    Data(ymotion::Scene&& from, std::string fromPath, const ymotion::FileAge& fromAge)
        : scene(std::move(from)), age(fromAge), path(std::move(fromPath))
    {}

    ymotion::Scene scene;
    ymotion::FileAge age;  ///< of the file that was loaded
    std::string path;      ///< of the file that was loaded; empty for none
};

template<class Act>
bool YMotion::Try(const Act& act) const
{
    mError.Clear();
    try {
        act();
        return true;
    } catch (const ymotion::Unmatched& failure) {
        mError.SetLastError(eErrorUnmatched, failure.what());
    } catch (const ymotion::Failure& failure) {
        mError.SetLastError(failure.Code() == ymotion::kExitUsage ? eErrorRequest : eErrorFile,
                            failure.what());
    } catch (const std::bad_alloc&) {
        mError.SetLastErrorID(eErrorMemory);
    } catch (const std::exception& error) {
        mError.SetLastError(eErrorFile, error.what());
    } catch (...) {
        // `Stopped`, and whatever else a progress function may have thrown.
        mError.SetLastErrorID(eErrorStopped);
    }
    return false;
}

namespace ymotion {

/// Null is the empty text.
inline std::string TextOf(const char* text)
{
    return text == nullptr ? std::string() : std::string(text);
}

/// Throws `Failure` unless it is a number from 0 up.
void CheckTolerance(double tolerance);

/// Throws `Failure` where there is none.
Layer& LayerOf(const Scene& scene, int id);

/// From one time to another, of which infinities stand for the first and the last key of the scene. Throws
/// `Failure` where that takes keys and there are none, and for a span that ends before it starts.
TimeSpan SpanBetween(const Scene& scene, YTime start, YTime stop);

/// Gives properties back what they and their layers had, unless the work on them is done.
class PropertiesKept
{
  public:
    explicit PropertiesKept(const std::vector<YFCurveNode*>& properties) : mProperties(properties)
    {
        for (const YFCurveNode* property : properties) {
            mBefore.emplace_back(property->Clone());
            if (mBefore.back() == nullptr) throw std::bad_alloc();
        }
    }
    ~PropertiesKept()
    {
        for (std::size_t i = 0; i < mBefore.size(); ++i) mProperties[i]->CopyFrom(mBefore[i].get());
    }
    PropertiesKept(const PropertiesKept&) = delete;
    PropertiesKept& operator=(const PropertiesKept&) = delete;

    void Done() { mBefore.clear(); }

  private:
    const std::vector<YFCurveNode*>& mProperties;
    std::vector<YFCurveNodePtr> mBefore;
};

}  // namespace ymotion
