// Conditions over generic sets next to a plain map of variants doing the same work.
//
//   BM_condition_genericSet     a 20-node condition (and, or, named fields, typed comparisons)
//                               evaluated on 1,000,000 records held as genericSets;
//   BM_condition_variantMap     the same predicate written by hand over
//                               std::map<std::wstring, std::variant<int, double, std::wstring>>;
//   BM_lookup_*                 one field looked up and read as an int, in a record of ten fields.
//
// The records come from a pool of 4096 (a million sets would not fit in memory next to the rest);
// each benchmark runs exactly 1,000,000 iterations, one record each.
#include "vxCondition.h"
#include "vxGenericSet.h"

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <variant>
#include <vector>

namespace {

using namespace vx::conditions;
using variantMap = std::map<std::wstring, std::variant<int, double, std::wstring>>;

constexpr int kPool = 4096;
constexpr int kRecords = 1000000;
const wchar_t* const kNames[] = {L"id", L"count", L"width", L"height", L"name",
                                 L"layer", L"weight", L"state", L"owner", L"rank"};

struct pools {
    std::vector<vx::genericSet> sets;
    std::vector<variantMap> maps;
};

const pools& records() {
    static const pools all = [] {
        pools p;
        p.sets.resize(kPool);
        p.maps.resize(kPool);
        for (int i = 0; i < kPool; ++i) {
            for (int f = 0; f < 10; ++f) {
                const std::wstring name = kNames[f];
                if (f == 4 || f == 8) {
                    const std::wstring text = (f == 4 ? L"part" : L"owner") + std::to_wstring(i % 17);
                    p.sets[i].setGenericValue(vx::scString::createFrom(name), vx::genericValue(vx::string(text)), false);
                    p.maps[i][name] = text;
                } else if (f == 6) {
                    const double w = (i % 100) / 4.0;
                    p.sets[i].setGenericValue(vx::scString::createFrom(name), vx::genericValue(w), false);
                    p.maps[i][name] = w;
                } else {
                    const int v = (i * (f + 3)) % 50;
                    p.sets[i].setGenericValue(vx::scString::createFrom(name), vx::genericValue(v), false);
                    p.maps[i][name] = v;
                }
            }
        }
        return p;
    }();
    return all;
}

// and(6 field conditions, or(3 field conditions)): 1 + 12 + 1 + 6 = 20 nodes.
std::unique_ptr<condition> twentyNodes() {
    std::vector<const condition*> either;
    const namedFieldValue o1(L"state", equal<int>(3)), o2(L"owner", equal<vx::string>(L"owner1")),
        o3(L"weight", smallerOrEqual<double>(20.0));
    either = {&o1, &o2, &o3};
    const logicalOr anyOf(either);
    const namedFieldValue a1(L"count", biggerOrEqual<int>(2)), a2(L"width", smaller<int>(48)),
        a3(L"height", notequal<int>(7)), a4(L"name", notequal<vx::string>(L"part5")),
        a5(L"layer", bigger<int>(0)), a6(L"rank", smallerOrEqual<int>(49));
    std::vector<const condition*> all = {&a1, &a2, &a3, &a4, &a5, &a6, &anyOf};
    return std::make_unique<logicalAnd>(all);
}

template <class T>
const T* field(const variantMap& m, const wchar_t* name) {
    const auto found = m.find(name);
    return found == m.end() ? nullptr : std::get_if<T>(&found->second);
}

// The same predicate by hand; a missing field passes, as with named field conditions.
bool byHand(const variantMap& m) {
    const auto intField = [&](const wchar_t* name, auto test) {
        const int* v = field<int>(m, name);
        return !v || test(*v);
    };
    const auto textField = [&](const wchar_t* name, auto test) {
        const std::wstring* v = field<std::wstring>(m, name);
        return !v || test(*v);
    };
    const double* weight = field<double>(m, L"weight");
    return intField(L"count", [](int v) { return v >= 2; }) && intField(L"width", [](int v) { return v < 48; }) &&
           intField(L"height", [](int v) { return v != 7; }) &&
           textField(L"name", [](const std::wstring& v) { return v != L"part5"; }) &&
           intField(L"layer", [](int v) { return v > 0; }) && intField(L"rank", [](int v) { return v <= 49; }) &&
           (intField(L"state", [](int v) { return v == 3; }) ||
            textField(L"owner", [](const std::wstring& v) { return v == L"owner1"; }) || !weight || *weight <= 20.0);
}

void BM_condition_genericSet(benchmark::State& state) {
    const auto& p = records();
    const auto c = twentyNodes();
    int i = 0;
    long accepted = 0;
    for (auto _ : state) {
        const vx::genericValue record(const_cast<vx::genericSet*>(&p.sets[i]));
        accepted += c->isTrueGeneric(record);
        i = (i + 1) % kPool;
    }
    benchmark::DoNotOptimize(accepted);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_condition_genericSet)->Iterations(kRecords);

void BM_condition_variantMap(benchmark::State& state) {
    const auto& p = records();
    int i = 0;
    long accepted = 0;
    for (auto _ : state) {
        accepted += byHand(p.maps[i]);
        i = (i + 1) % kPool;
    }
    benchmark::DoNotOptimize(accepted);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_condition_variantMap)->Iterations(kRecords);

void BM_lookup_genericSet(benchmark::State& state) {
    const auto& p = records();
    const vx::scString key = vx::scString::createFrom(L"rank");
    int i = 0;
    long sum = 0;
    for (auto _ : state) {
        int v = 0;
        p.sets[i].genericValue(key)->get(v);
        sum += v;
        i = (i + 1) % kPool;
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_lookup_genericSet)->Iterations(kRecords);

void BM_lookup_variantMap(benchmark::State& state) {
    const auto& p = records();
    const std::wstring key = L"rank";
    int i = 0;
    long sum = 0;
    for (auto _ : state) {
        sum += std::get<int>(p.maps[i].find(key)->second);
        i = (i + 1) % kPool;
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_lookup_variantMap)->Iterations(kRecords);

} // namespace

BENCHMARK_MAIN();
