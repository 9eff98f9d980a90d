#include "yfcurve/node/nodedata.h"

// What a node answers from the curves below it.

double* YFCurveNode::Evaluate(double* values, YTime time, int* last) const
{
    if (mData->layerInfo.IsMuted()) return values;
    if (mData->curve) {
        *values = mData->curve->Evaluate(time, last);
        return values + 1;
    }
    const int count = GetCount();
    for (int i = 0; i < count; ++i) values = Get(i)->Evaluate(values, time, last);
    return values;
}

int YFCurveNode::KeyGetCount(bool includeLayers) const
{
    int keyCount = 0;
    if (mData->curve) {
        keyCount = mData->curve->KeyGetCount();
    } else {
        const int count = GetCount();
        for (int i = 0; i < count; ++i) keyCount += Get(i)->KeyGetCount(false);
    }
    const YFCurveNode* layer = includeLayers ? LayerGet() : nullptr;
    return layer != nullptr ? keyCount + layer->KeyGetCount(true) : keyCount;
}

std::uint32_t YFCurveNode::GetUpdateId() const
{
    if (mData->curve) return mData->curve->GetUpdateId();
    std::uint32_t sum = 0;
    const int count = GetCount();
    for (int i = 0; i < count; ++i) sum += Get(i)->GetUpdateId();
    return sum;
}

std::uint32_t YFCurveNode::GetValuesUpdateId() const
{
    std::uint32_t sum = 0;
    if (mData->curve) {
        sum = mData->curve->GetValuesUpdateId();
    } else {
        const int count = GetCount();
        for (int i = 0; i < count; ++i) sum += Get(i)->GetValuesUpdateId();
    }
    const YFCurveNode* layer = LayerGet();
    return layer != nullptr ? sum + layer->GetValuesUpdateId() : sum;
}
