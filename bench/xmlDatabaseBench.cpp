// Benchmarks of the object database next to Boost.Serialization's XML archive doing the same work.
//
// Names follow BM_<operation>_<implementation>; the implementation is "vx" for the library and
// "boost" for Boost.Serialization (Debian libboost-serialization-dev). The case is a graph of
// 100,000 objects with 10 values each and a reference from every object to an earlier one (its
// "parent", object i / 2), so that objects are shared. Writing goes to memory; reading starts
// from the text the same implementation wrote. Each benchmark reports objects per second, after
// one run that is not timed, so that every timed run finds the heap as the runs before left it.
// A child process does the same operation once more: the counter peakMB is the growth of its
// peak resident memory (beyond what it held before: the graph, or the text), and firstMs the
// time of that run, the first in a process, whose memory all comes from the system.
#include "vxBinaryBuffer.h"
#include "vxDirectory.h"
#include "vxXmlDatabase.h"
#include "vxXmlDbIStream.h"
#include "vxXmlDbOStream.h"

#include "peakMemory.h"

#include <benchmark/benchmark.h>
#include <boost/archive/xml_iarchive.hpp>
#include <boost/archive/xml_oarchive.hpp>
#include <boost/serialization/nvp.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/vector.hpp>

#include <cstring>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace {

constexpr int kObjects = 100000;

// --- the library's side ----------------------------------------------------------------------------

class part final : public vx::iPersistent {
public:
    unsigned long getRefCount() const override { return mCount; }
    unsigned long addRef() override { return ++mCount; }
    unsigned long release() override {
        const unsigned long n = --mCount;
        if (!n)
            delete this;
        return n;
    }
    const wchar_t* className() const override { return L"part"; }
    void writeTo(vx::iDBOStream* s) const override {
        s->write(L"a", a);
        s->write(L"b", b);
        s->write(L"c", c);
        s->write(L"d", d);
        s->write(L"e", e);
        s->write(L"f", f);
        s->write(L"g", g);
        s->write(L"h", h);
        s->write(L"i", i);
        s->write(L"j", j);
        s->write(L"parent", parent);
    }
    void readFrom(vx::iDBIStream* s) override {
        s->read(L"a", a);
        s->read(L"b", b);
        s->read(L"c", c);
        s->read(L"d", d);
        s->read(L"e", e);
        s->read(L"f", f);
        s->read(L"g", g);
        s->read(L"h", h);
        s->read(L"i", i);
        s->read(L"j", j);
        vx::iPersistent* p = nullptr;
        s->read(L"parent", &p);
        parent = static_cast<part*>(p);
        if (p)
            p->release(); // the graph keeps its objects alive; parent is not counted
    }
    const vx::guid& getGuid() const override { return id; }
    void setGuid(const vx::guid& g_) override { id = g_; }

    int a = 0;
    double b = 0;
    vx::string c;
    bool d = false;
    unsigned int e = 0;
    double f = 0;
    double g = 0;
    short h = 0;
    vx::string i;
    long j = 0;
    part* parent = nullptr;
    vx::guid id;

private:
    unsigned long mCount = 0;
};

struct partFactory : vx::iObjectFactory {
    unsigned long getRefCount() const override { return 1; }
    unsigned long addRef() override { return 1; }
    unsigned long release() override { return 1; }
    void createObject(const vx::string&, vx::iPersistent** object) override {
        *object = new part;
        (*object)->addRef();
    }
};

std::vector<vx::refPtr<part>> vxGraph() {
    std::vector<vx::refPtr<part>> graph;
    graph.reserve(kObjects);
    for (int n = 0; n < kObjects; ++n) {
        vx::refPtr<part> p(new part);
        p->a = n;
        p->b = n * 0.5;
        p->c = L"name " + std::to_wstring(n);
        p->d = n % 2 == 0;
        p->e = static_cast<unsigned>(n) * 3u;
        p->f = n / 7.0;
        p->g = -n;
        p->h = static_cast<short>(n % 1000);
        p->i = L"kind";
        p->j = -n;
        p->parent = n ? graph[static_cast<std::size_t>(n / 2)].get() : nullptr;
        graph.push_back(p);
    }
    return graph;
}

void vxWrite(const std::vector<vx::refPtr<part>>& graph, vx::binaryBuffer& out) {
    vx::xmlDbWriter writer(&out, vx::directory(L"C:\\"));
    for (const auto& p : graph)
        writer.writeObject(p.get(), true); // the parent is recorded already: its guid only
    writer.close();
}

std::size_t vxRead(vx::binaryBuffer& in) {
    partFactory factory;
    vx::xmlDbReader reader(&in, vx::directory(L"C:\\"));
    reader.addObjectFactory(&factory);
    std::vector<vx::refPtr<vx::iPersistent>> objects;
    reader.readAllObjects(L"part", objects);
    return objects.size();
}

// --- Boost.Serialization ----------------------------------------------------------------------------

struct bpart {
    int a = 0;
    double b = 0;
    std::wstring c;
    bool d = false;
    unsigned int e = 0;
    double f = 0;
    double g = 0;
    short h = 0;
    std::wstring i;
    long j = 0;
    bpart* parent = nullptr;

    template <class Archive>
    void serialize(Archive& ar, unsigned) {
        ar& BOOST_SERIALIZATION_NVP(a) & BOOST_SERIALIZATION_NVP(b) & BOOST_SERIALIZATION_NVP(c) &
            BOOST_SERIALIZATION_NVP(d) & BOOST_SERIALIZATION_NVP(e) & BOOST_SERIALIZATION_NVP(f) &
            BOOST_SERIALIZATION_NVP(g) & BOOST_SERIALIZATION_NVP(h) & BOOST_SERIALIZATION_NVP(i) &
            BOOST_SERIALIZATION_NVP(j) & BOOST_SERIALIZATION_NVP(parent);
    }
};

struct bgraph {
    std::vector<bpart*> parts;
    bgraph() = default;
    bgraph(const bgraph&) = delete;
    bgraph& operator=(const bgraph&) = delete;
    ~bgraph() {
        for (bpart* p : parts)
            delete p;
    }
};

void boostGraph(bgraph& graph) {
    graph.parts.reserve(kObjects);
    for (int n = 0; n < kObjects; ++n) {
        auto* p = new bpart;
        p->a = n;
        p->b = n * 0.5;
        p->c = L"name " + std::to_wstring(n);
        p->d = n % 2 == 0;
        p->e = static_cast<unsigned>(n) * 3u;
        p->f = n / 7.0;
        p->g = -n;
        p->h = static_cast<short>(n % 1000);
        p->i = L"kind";
        p->j = -n;
        p->parent = n ? graph.parts[static_cast<std::size_t>(n / 2)] : nullptr;
        graph.parts.push_back(p);
    }
}

std::string boostWrite(const bgraph& graph) {
    std::ostringstream out;
    {
        boost::archive::xml_oarchive archive(out);
        archive << boost::serialization::make_nvp("parts", graph.parts);
    }
    return out.str();
}

std::size_t boostRead(const std::string& text) {
    std::istringstream in(text);
    bgraph graph;
    {
        boost::archive::xml_iarchive archive(in);
        archive >> boost::serialization::make_nvp("parts", graph.parts);
    }
    return graph.parts.size();
}

// --- measuring ----------------------------------------------------------------------------------------

void BM_write_vx(benchmark::State& state) {
    const auto graph = vxGraph();
    const vxbench::childRun first = vxbench::runInChild([] {}, [&] {
        vx::binaryBuffer out;
        vxWrite(graph, out);
    });
    state.counters["peakMB"] = first.peakMB;
    state.counters["firstMs"] = first.ms;
    {
        vx::binaryBuffer out;
        vxWrite(graph, out);
    }
    std::size_t bytes = 0;
    for (auto _ : state) {
        vx::binaryBuffer out;
        vxWrite(graph, out);
        bytes = out.logicalLength();
    }
    state.counters["textMB"] = static_cast<double>(bytes) / 1e6;
    state.SetItemsProcessed(state.iterations() * kObjects);
}

void BM_write_boost(benchmark::State& state) {
    bgraph graph;
    boostGraph(graph);
    const vxbench::childRun first = vxbench::runInChild([] {}, [&] { benchmark::DoNotOptimize(boostWrite(graph)); });
    state.counters["peakMB"] = first.peakMB;
    state.counters["firstMs"] = first.ms;
    benchmark::DoNotOptimize(boostWrite(graph));
    std::size_t bytes = 0;
    for (auto _ : state)
        bytes = boostWrite(graph).size();
    state.counters["textMB"] = static_cast<double>(bytes) / 1e6;
    state.SetItemsProcessed(state.iterations() * kObjects);
}

void BM_read_vx(benchmark::State& state) {
    vx::binaryBuffer text;
    vxWrite(vxGraph(), text);
    const vxbench::childRun first = vxbench::runInChild([] {}, [&] { benchmark::DoNotOptimize(vxRead(text)); });
    state.counters["peakMB"] = first.peakMB;
    state.counters["firstMs"] = first.ms;
    benchmark::DoNotOptimize(vxRead(text));
    for (auto _ : state) {
        if (vxRead(text) != static_cast<std::size_t>(kObjects))
            state.SkipWithError("objects lost");
    }
    state.SetItemsProcessed(state.iterations() * kObjects);
}

void BM_read_boost(benchmark::State& state) {
    std::string text;
    {
        bgraph graph;
        boostGraph(graph);
        text = boostWrite(graph);
    }
    const vxbench::childRun first = vxbench::runInChild([] {}, [&] { benchmark::DoNotOptimize(boostRead(text)); });
    state.counters["peakMB"] = first.peakMB;
    state.counters["firstMs"] = first.ms;
    benchmark::DoNotOptimize(boostRead(text));
    for (auto _ : state) {
        if (boostRead(text) != static_cast<std::size_t>(kObjects))
            state.SkipWithError("objects lost");
    }
    state.SetItemsProcessed(state.iterations() * kObjects);
}

BENCHMARK(BM_write_vx)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_write_boost)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_read_vx)->Unit(benchmark::kMillisecond)->Iterations(2);
BENCHMARK(BM_read_boost)->Unit(benchmark::kMillisecond)->Iterations(2);

} // namespace

BENCHMARK_MAIN();
