#include "vxLogger.h"

#include "detail/decimal.h"
#include "detail/mutexHold.h"
#include "detail/logState.h"
#include "platform/files.h"
#include "vxEnvironment.h"
#include "vxLocMessage.h"
#include "vxTimeStamp.h"
#include "vxUnicode.h"

#include <new>
#include <string>
#include <vector>

namespace vxlog {

namespace {

const wchar_t* const kLevelTexts[] = {L"none", L"trace", L"debug", L"info", L"ui"};

// What stands for a bracket in the format while the message engine fills it, in the order of
// replacement.
const wchar_t* const kMarkers[][2] = {{L"[", L"_sbb_"}, {L"]", L"_sbe_"}, {L">", L"_gts_"}, {L"<", L"_sts_"}};

struct field {
    const wchar_t* token;
    const wchar_t* key;
    std::uint64_t width; // 0: not scaled
    bool keepTail;
};
// In the order of replacement.
const field kFields[] = {
    {L"%s", L"s", 25, false}, {L"%p", L"p", 6, false},  {L"%t", L"t", 6, false},
    {L"%l", L"l", 5, false},  {L"%f", L"f", 38, true},  {L"%r", L"r", 5, false},
    {L"%c", L"c", 50, true},  {L"%o", L"o", 0, false},  {L"%m", L"m", 0, false},
};

// The UTF-8 bytes of text.
std::string utf8(const vx::string& text) {
    std::string out;
    vx::unicode::appendUtf8(out, text.c_str(), text.size());
    return out;
}

// Makes state.lineFile the file the next line goes to. The open file answers the two questions
// of every line (is it still there, is it full) with one look; only when it is gone, full, or
// the settings or their ring index have changed does the settings' own check run, which creates
// or rolls the file as it always does. A file renamed while open keeps receiving the lines.
void openLineFile(detail::logState& state, const std::shared_ptr<logSettings>& settings) {
    if (state.lineFile.isOpen() && state.lineSettings == settings && state.lineIndex == settings->currentIndex()) {
        std::uint64_t size = 0;
        bool removed = false;
        if (state.lineFile.lengthAndRemoved(size, removed) && !removed && size <= settings->maxFileSize())
            return;
    }
    // Closed first: a roll may remove this very file, which Windows refuses while it is open.
    state.lineFile.close();
    state.lineSettings.reset();
    const vx::file target = settings->outputFile();
    if (state.lineFile.open(target.fullName(), vx::platform::fileHandle::openAppend)) {
        state.lineSettings = settings;
        state.lineIndex = settings->currentIndex();
    }
}

} // namespace

// --- attached objects --------------------------------------------------------------------------

logObj::logObj(const vx::string& relFilePath) : mRelFilePath(relFilePath) {}

logObj::~logObj() = default;

logObj* logObj::create(vx::string& relFilePath) {
    return new (std::nothrow) logObj(relFilePath);
}

void logObj::destroyObject() {
    delete this;
}

void logObj::doWrite(vx::file& target) {
    logWriteParams params(target);
    fireEvent(kLogObjWriteEvent, this, target.fullName().c_str(), &params);
}

vx::string logObj::relFilePath() const {
    return mRelFilePath;
}

logStringToTxt::logStringToTxt(const vx::string& relFilePath, const vx::string& text, bool flag)
    : logObj(relFilePath), mText(text), mFlag(flag) {}

logStringToTxt::~logStringToTxt() = default;

vx::refPtr<iLogObj> logStringToTxt::create(const vx::string& relFilePath, vx::string& text, bool flag) {
    return vx::refPtr<iLogObj>(new (std::nothrow) logStringToTxt(relFilePath, text, flag));
}

void logStringToTxt::destroyObject() {
    delete this;
}

void logStringToTxt::doWrite(vx::file& target) {
    if (target.exists())
        target.remove();
    vx::directory folder;
    vx::string drive, name, extension;
    target.getParts(drive, folder, name, extension);
    if (!folder.exists())
        folder.create(true);
    const std::string bytes = utf8(mText);
    vx::platform::fileHandle out;
    if (out.open(target.fullName(), vx::platform::fileHandle::openWrite)) {
        out.write(bytes.data(), bytes.size());
        out.close();
    }
}

// --- logger ------------------------------------------------------------------------------------

logger::logger(const vx::string& id, bool enabled, logLevel level) : mId(id), mLevel(level), mEnabled(enabled) {}

logger::~logger() = default;

vx::refPtr<logger> logger::create(const vx::string& id, bool enabled, logLevel level) {
    return vx::refPtr<logger>(new (std::nothrow) logger(id, enabled, level));
}

void logger::deleteThis() {
    delete this;
}

vx::string logger::id() const {
    return mId;
}

void logger::setId(vx::string id) {
    mId = std::move(id);
}

bool logger::rootEnabled() {
    const logger* root = detail::state().root.load(std::memory_order_acquire);
    return root && root->isEnabled();
}

void logger::logNarrow(logLevel level, const vx::string& message, const char* file, long line, const char* context,
                       const vx::refPtr<iLogObj>& object) {
    try {
        write(level, message, vx::string::fromMBCtoWC(file), line, vx::string::fromMBCtoWC(context), object);
    } catch (...) {
        // A conversion that cannot allocate loses the line, as any failure of logging does.
    }
}

void logger::write(logLevel level, const vx::string& message, const vx::string& file, long line,
                   const vx::string& context, const vx::refPtr<iLogObj>& object) noexcept {
    detail::logState& state = detail::state();
    try {
        vx::string objectText;
        if (object) {
            const vx::string relative = object->relFilePath();
            vx::detail::mutexHold guard(state.fileLock);
            const vx::directory folder = logUtils::outputDir();
            std::size_t start = 0;
            while (start < relative.size() && (relative[start] == L'\\' || relative[start] == L'/'))
                ++start;
            vx::file target(folder.fullName(), relative.substr(start));
            object->doWrite(target);
            objectText = start > 0 ? relative : vx::string(L"\\" + relative);
        }
        // A long crosses a text as 32 bits.
        const vx::string lineText(vx::detail::decimal(static_cast<std::int32_t>(line)));

        vx::detail::mutexHold guard(state.fileLock);
        const std::shared_ptr<logSettings> settings = state.settings;
        openLineFile(state, settings);
        const vx::string text = logUtils::getFormattedLogMessage(
            settings->formatSpecifier(), vx::timestamp::now().toString(),
            vx::detail::decimal(vx::getCurrentProcessId()), vx::detail::decimal(vx::getCurrentThreadId()),
            logUtils::getStringFromLogLevel(level), file, lineText, context, objectText, message);
        // One write on a file opened for appending: lines of other threads and processes never
        // fall inside this one.
        std::string bytes = utf8(text);
        bytes += '\n';
        if (state.lineFile.isOpen())
            state.lineFile.write(bytes.data(), bytes.size());
    } catch (...) {
        // No failure of logging reaches the caller: the line is lost.
    }
}

// --- texts and the line ------------------------------------------------------------------------

vx::string logUtils::defaultFormatSpecifier() {
    return L"<%s> [PID %p] [TID %t] (%l) {%f, L %r, %c} - %m %o";
}

logLevel logUtils::defaultLogLevel() {
    return none;
}

logLevel logUtils::getLogLevelFromString(const vx::string& text) {
    for (int level = none; level <= ui; ++level)
        if (text.isEqualTo(kLevelTexts[level], false))
            return static_cast<logLevel>(level);
    return none;
}

vx::string logUtils::getStringFromLogLevel(logLevel level) {
    return level >= none && level <= ui ? kLevelTexts[level] : kLevelTexts[none];
}

vx::string logUtils::scaleString(const vx::string& text, std::uint64_t width, bool keepTail) {
    if (text.size() == width)
        return text;
    if (text.size() < width)
        return text + vx::string(static_cast<std::size_t>(width - text.size()), L' ');
    const auto keep = static_cast<std::size_t>(width);
    return keepTail ? vx::string(text.substr(text.size() - keep)) : vx::string(text.substr(0, keep));
}

namespace {

// The pattern of a format: its brackets hidden behind markers and its fields as "[key]".
vx::string patternOf(const vx::string& format) {
    vx::string pattern = format;
    for (const auto& marker : kMarkers)
        pattern.replace(marker[0], marker[1]);
    for (const auto& f : kFields)
        pattern.replace(f.token, vx::string(L"[") + f.key + L"]");
    return pattern;
}

// A pattern cut into its texts and fields, for filling in one pass. The message engine fills the
// first "[key]" of each field in turn, searching the whole text each time; when the only brackets
// are the fields' own, the values hold none and nothing escapes one, that is the same as filling
// each field's first place directly. `direct` says whether the pattern allows it.
struct patternPlan {
    bool direct = false;
    struct piece {
        std::size_t textBegin, textLength; // the text before the field
        int field;                         // index into kFields, -1 for the tail
    };
    std::vector<piece> pieces;
    vx::string text; // the pattern as the engine holds it
};

patternPlan planOf(const vx::string& pattern) {
    patternPlan plan;
    plan.text = static_cast<const vx::string&>(vx::locMessage(pattern.c_str()));
    const vx::string& t = plan.text;
    bool used[sizeof kFields / sizeof kFields[0]] = {};
    std::size_t textBegin = 0;
    for (std::size_t open = t.find(L'['); open != vx::string::npos; open = t.find(L'[', open + 1)) {
        int field = -1;
        for (int i = 0; i < static_cast<int>(sizeof kFields / sizeof kFields[0]); ++i)
            if (open + 2 < t.size() && t[open + 1] == kFields[i].key[0] && t[open + 2] == L']')
                field = i;
        if (field < 0 || (open > 0 && t[open - 1] == L'\\'))
            return plan; // a bracket of another kind, or an escaped one: the engine's own way
        if (used[field])
            continue; // a second place of a field stays as it is
        used[field] = true;
        plan.pieces.push_back({textBegin, open - textBegin, field});
        textBegin = open + 3;
    }
    plan.pieces.push_back({textBegin, t.size() - textBegin, -1});
    plan.direct = true;
    return plan;
}

// A value the direct filling may take: no bracket that a later search could find, no NUL that the
// engine would cut at, and no backslash at its end that could escape the field after it.
bool plainValue(const vx::string& value) {
    return value.find_first_of(vx::string(L"[\0", 2)) == vx::string::npos &&
           (value.empty() || value.back() != L'\\');
}

} // namespace

vx::string logUtils::getFormattedLogMessage(const vx::string& format, const vx::string& timestamp,
                                            const vx::string& processId, const vx::string& threadId,
                                            const vx::string& level, const vx::string& file,
                                            const vx::string& line, const vx::string& context,
                                            const vx::string& object, const vx::string& message) {
    // The pattern depends on the format alone, which seldom changes: each thread keeps the last.
    thread_local vx::string lastFormat;
    thread_local vx::string pattern;
    thread_local patternPlan plan;
    thread_local bool known = false;
    if (!known || lastFormat != format) {
        known = false;
        pattern = patternOf(format);
        plan = planOf(pattern);
        lastFormat = format;
        known = true;
    }

    const vx::string* values[] = {&timestamp, &processId, &threadId, &level, &file,
                                  &line,      &context,   &object,   &message};
    const auto scaled = [&](std::size_t i) {
        return kFields[i].width ? scaleString(*values[i], kFields[i].width, kFields[i].keepTail) : *values[i];
    };
    vx::string result;
    bool filled = false;
    if (plan.direct) {
        vx::string fields[sizeof kFields / sizeof kFields[0]];
        bool plain = true;
        for (const auto& p : plan.pieces)
            if (p.field >= 0 && plain) {
                fields[p.field] = scaled(static_cast<std::size_t>(p.field));
                plain = plainValue(fields[p.field]);
            }
        if (plain) {
            for (const auto& p : plan.pieces) {
                result.append(plan.text, p.textBegin, p.textLength);
                if (p.field >= 0)
                    result += fields[p.field];
            }
            filled = true;
        }
    }
    if (!filled) {
        vx::locMessage rendered(pattern.c_str());
        for (std::size_t i = 0; i < sizeof kFields / sizeof kFields[0]; ++i) {
            // A field the format does not hold is left out: the engine would otherwise put it in
            // place of the first "%x" of the text, which must stay as it is.
            if (rendered.find(vx::string(L"[") + kFields[i].key + L"]") == vx::string::npos)
                continue;
            rendered.insertParameter(scaled(i).c_str(), kFields[i].key);
        }
        result = static_cast<const vx::string&>(rendered);
    }
    for (const auto& marker : kMarkers)
        result.replace(marker[1], marker[0]);
    return result;
}

} // namespace vxlog
