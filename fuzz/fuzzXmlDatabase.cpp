// Object database files: any bytes open as a database from memory, with a factory for a few
// classes whose objects read references, aggregated objects, converters and scalars, and every
// table is read in full, as objects and as proxies. Never a crash, a hang or a leak: a reference
// cycle, an id that points nowhere and a table of another class's elements end in an object, a
// null or an exception of the library.
//
// Input: the bytes of the database.
#include <vxBinaryBuffer.h>
#include <vxDirectory.h>
#include <vxException.h>
#include <vxXmlDatabase.h>
#include <vxXmlDbIStream.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

class item;
std::vector<item*> gMade; // every object of one run that is alive, to break their cycles at the end

struct pair : vx::iDataConverter {
    const wchar_t* typeName() const override { return L"pair"; }
    void writeTo(vx::iDBOStream*) const override {}
    void readFrom(vx::iDBIStream* in) override {
        if (in->isAvailable(L"v"))
            in->read(L"v", a, b);
        if (in->isAvailable(L"inner")) {
            pair inner;
            in->read(L"inner", inner);
        }
    }
    double a = 0, b = 0;
};

class item : public vx::iPersistent {
public:
    explicit item(const vx::string& name) : mName(name) { gMade.push_back(this); }
    unsigned long getRefCount() const override { return mCount; }
    unsigned long addRef() override { return ++mCount; }
    unsigned long release() override {
        const unsigned long n = --mCount;
        if (n == 0)
            delete this;
        return n;
    }
    const wchar_t* className() const override { return mName.c_str(); }
    void writeTo(vx::iDBOStream*) const override {}
    void readFrom(vx::iDBIStream* in) override {
        for (std::uint64_t i = 0, n = in->count(L"r"); i < n && i < 64; ++i) {
            vx::iPersistent* p = nullptr;
            in->read(L"r", &p, i);
            keep(p);
        }
        if (in->isAvailable(L"g")) {
            vx::iPersistent* p = nullptr;
            in->readAggregated(L"g", &p);
            keep(p);
        }
        if (in->isAvailable(L"c")) {
            pair converter;
            in->read(L"c", converter);
        }
        if (in->isAvailable(L"o")) {
            vx::objectInfo info;
            in->read(L"o", info);
        }
        vx::string text;
        int number = 0;
        unsigned char small = 0;
        vx::file f;
        if (in->isAvailable(L"s"))
            in->read(L"s", text);
        if (in->isAvailable(L"i"))
            in->read(L"i", number);
        if (in->isAvailable(L"u"))
            in->read(L"u", small);
        if (in->isAvailable(L"f"))
            in->read(L"f", f);
        vx::string name, value;
        for (std::uint64_t i = 0, n = in->countProperties(); i < n && i < 64; ++i)
            in->readProperty(name, value, i);
        if (text == L"absent")
            throw vx::returnNullRefException();
    }
    const vx::guid& getGuid() const override { return mId; }
    void setGuid(const vx::guid& id) override { mId = id; }
    void unlink() { mKept.clear(); }

private:
    // An object can go before the end of the run (an aggregated one with its referrer, one that
    // counts as absent): it leaves the list.
    ~item() {
        const auto it = std::find(gMade.begin(), gMade.end(), this);
        if (it != gMade.end())
            gMade.erase(it);
    }
    void keep(vx::iPersistent* p) {
        if (!p)
            return;
        mKept.emplace_back(p);
        p->release();
    }

    unsigned long mCount = 0;
    vx::string mName;
    vx::guid mId;
    std::vector<vx::refPtr<vx::iPersistent>> mKept;
};

class factory : public vx::iObjectFactory {
public:
    unsigned long getRefCount() const override { return 1; }
    unsigned long addRef() override { return 1; }
    unsigned long release() override { return 1; }
    void createObject(const vx::string& className, vx::iPersistent** object) override {
        const vx::string lower = className.lower();
        if (lower == L"a" || lower == L"b" || lower == L"proxy") {
            *object = new item(className);
            (*object)->addRef();
        }
    }
};

template <class F>
void guarded(F&& f) {
    try {
        f();
    } catch (const vx::exception&) {
    } catch (bool) {
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vx::binaryBuffer buffer;
    buffer.reserve(size);
    if (size)
        std::memcpy(buffer.data(), data, size);
    buffer.setLogicalLength(size);
    factory made;
    {
        vx::xmlDbReader reader(&buffer, vx::directory(L"C:\\fuzz"));
        reader.addObjectFactory(&made);
        std::vector<vx::refPtr<vx::iPersistent>> objects;
        guarded([&] {
            reader.open();
            for (const wchar_t* name : {L"a", L"b", L"c", L"pair"}) {
                guarded([&] { reader.readAllObjects(name, objects); });
                guarded([&] { reader.readAllProxyObjects(name, L"proxy", objects); });
                guarded([&] {
                    pair p;
                    reader.read(p, 0);
                });
                guarded([&] { reader.count(name); });
            }
        });
        objects.clear();
        // Held while the cycles are broken: an object may hold the last reference to another.
        const std::vector<vx::refPtr<item>> alive(gMade.begin(), gMade.end());
        for (const vx::refPtr<item>& p : alive)
            p->unlink();
    }
    return 0;
}
