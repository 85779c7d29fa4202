// An application's document in the object database: a drawing with layers, shapes and one style
// that several shapes share. It is saved, read back with a factory, and compared.
//
// usage: documents [FILE]   (default: drawing.xml in the current directory)
#include <vxUtils.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

// The reference counting and identity every persistent class of this application shares.
class persistent : public vx::iPersistent {
public:
    unsigned long getRefCount() const override { return mCount; }
    unsigned long addRef() override { return ++mCount; }
    unsigned long release() override {
        const unsigned long n = --mCount;
        if (n == 0)
            delete this;
        return n;
    }
    const vx::guid& getGuid() const override { return mId; }
    void setGuid(const vx::guid& id) override { mId = id; }

protected:
    virtual ~persistent() = default;

private:
    unsigned long mCount = 0;
    vx::guid mId;
};

// Reads a reference into a counted pointer of the right class.
template <class T>
void readReference(vx::iDBIStream* in, const wchar_t* name, vx::refPtr<T>& target, std::uint64_t nth = 0) {
    vx::iPersistent* p = nullptr;
    in->read(name, &p, nth);
    target = static_cast<T*>(p);
    if (p)
        p->release();
}

class style : public persistent {
public:
    const wchar_t* className() const override { return L"Style"; }
    void writeTo(vx::iDBOStream* out) const override {
        out->write(L"name", name);
        out->write(L"width", width);
        out->write(L"colour", colour);
    }
    void readFrom(vx::iDBIStream* in) override {
        in->read(L"name", name);
        in->read(L"width", width);
        in->read(L"colour", colour);
    }
    vx::string name;
    double width = 0.25;
    unsigned long colour = 0;
};

class shape : public persistent {
public:
    const wchar_t* className() const override { return L"Shape"; }
    void writeTo(vx::iDBOStream* out) const override {
        out->write(L"kind", kind);
        out->write(L"position", x, y);
        out->write(L"style", look.get());
    }
    void readFrom(vx::iDBIStream* in) override {
        in->read(L"kind", kind);
        in->read(L"position", x, y);
        readReference(in, L"style", look);
    }
    vx::string kind;
    double x = 0, y = 0;
    vx::refPtr<style> look;
};

class layer : public persistent {
public:
    const wchar_t* className() const override { return L"Layer"; }
    void writeTo(vx::iDBOStream* out) const override {
        out->write(L"name", name);
        out->write(L"visible", visible);
        for (const auto& s : shapes)
            out->write(L"shape", s.get());
    }
    void readFrom(vx::iDBIStream* in) override {
        in->read(L"name", name);
        // Files of an older version have no visibility: it is optional.
        if (in->isAvailable(L"visible"))
            in->read(L"visible", visible);
        shapes.resize(static_cast<std::size_t>(in->count(L"shape")));
        for (std::size_t i = 0; i < shapes.size(); ++i)
            readReference(in, L"shape", shapes[i], i);
    }
    vx::string name;
    bool visible = true;
    std::vector<vx::refPtr<shape>> shapes;
};

class drawing : public persistent {
public:
    const wchar_t* className() const override { return L"Drawing"; }
    void writeTo(vx::iDBOStream* out) const override {
        out->write(L"title", title);
        for (const auto& l : layers)
            out->write(L"layer", l.get());
    }
    void readFrom(vx::iDBIStream* in) override {
        in->read(L"title", title);
        layers.resize(static_cast<std::size_t>(in->count(L"layer")));
        for (std::size_t i = 0; i < layers.size(); ++i)
            readReference(in, L"layer", layers[i], i);
    }
    vx::string title;
    std::vector<vx::refPtr<layer>> layers;
};

// Makes the application's objects by class name for the reader.
class factory : public vx::iObjectFactory {
public:
    unsigned long getRefCount() const override { return 1; }
    unsigned long addRef() override { return 1; }
    unsigned long release() override { return 1; }
    void createObject(const vx::string& className, vx::iPersistent** object) override {
        vx::iPersistent* made = nullptr;
        if (className == L"Drawing")
            made = new drawing;
        else if (className == L"Layer")
            made = new layer;
        else if (className == L"Shape")
            made = new shape;
        else if (className == L"Style")
            made = new style;
        if (made)
            made->addRef();
        *object = made;
    }
};

vx::refPtr<drawing> sample() {
    vx::refPtr<style> thin(new style), bold(new style);
    thin->name = L"thin";
    bold->name = L"bold";
    bold->width = 0.7;
    bold->colour = 0x0000FF;
    vx::refPtr<drawing> d(new drawing);
    d->title = L"Pump house, ground floor";
    const wchar_t* kinds[] = {L"wall", L"door", L"pump", L"pipe"};
    for (int l = 0; l < 2; ++l) {
        vx::refPtr<layer> lay(new layer);
        lay->name = l == 0 ? L"building" : L"equipment";
        for (int i = 0; i < 3; ++i) {
            vx::refPtr<shape> s(new shape);
            s->kind = kinds[(l * 2 + i) % 4];
            s->x = l * 10 + i * 2.5;
            s->y = i * 1.25;
            s->look = i == 2 ? bold : thin; // the styles are shared
            lay->shapes.push_back(s);
        }
        d->layers.push_back(lay);
    }
    return d;
}

} // namespace

int main(int argc, char** argv) {
    const vx::string name = vx::string::fromMBCtoWC(argc > 1 ? argv[1] : "drawing.xml");
    const vx::file target(name);
    try {
        vx::guid id;
        {
            vx::xmlDbWriter writer(target);
            writer.setAttribute(L"application", L"documents example");
            id = writer.writeObject(sample().get(), true); // everything it references comes along
            writer.close();
        }
        std::printf("saved %s\n", target.fullName().getMBCS().c_str());

        factory objects;
        vx::xmlDbReader reader(target);
        reader.addObjectFactory(&objects);
        reader.open();
        vx::iPersistent* p = nullptr;
        reader.readObject(L"Drawing", id.toString(), &p);
        vx::refPtr<drawing> back(static_cast<drawing*>(p));
        p->release();
        std::printf("read back \"%s\": %zu layers, %llu shapes, %llu styles\n", back->title.getMBCS().c_str(),
                    back->layers.size(), static_cast<unsigned long long>(reader.count(L"Shape")),
                    static_cast<unsigned long long>(reader.count(L"Style")));
        const bool shared = back->layers[0]->shapes[0]->look.get() == back->layers[1]->shapes[1]->look.get();
        std::printf("the thin style is %s\n", shared ? "one object, shared as it was" : "duplicated");
        return shared ? 0 : 1;
    } catch (const vx::exception& e) {
        std::fprintf(stderr, "documents: %s\n", vx::string(e.message().string()).getMBCS().c_str());
        return 1;
    }
}
