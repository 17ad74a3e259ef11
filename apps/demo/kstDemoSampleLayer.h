#pragma once

namespace Kestrum {
class kstVectorLayer;
}

// A layer with a few shapes of every kind, drawn around a geographic centre,
// so that the demo has something to show before data are loaded.
class kstDemoSampleLayer
{
public:
    static Kestrum::kstVectorLayer* create();
};
