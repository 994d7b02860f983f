#pragma once

struct SamplePoint;

/// Receives every sample that a block accepts, at once, while the block is locked. An implementation must not call back
/// into the block or its store.
class SampleSink
{
public:
    virtual ~SampleSink() = default;
    virtual void process(const SamplePoint &sample, const void *owner = nullptr) = 0;
};
