// Takes the address of every function that a host may call, under its exact type: what is
// misspelled does not compile, and what is not exported does not link.

#include <kest/kest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

namespace k = Tallowmere;
using Text = std::wstring;
using Positions = std::vector<std::uint64_t>;
using Units = std::basic_string<unsigned short>;

int missing = 0;

template <class Function>
void function(Function* address) {
    Function* volatile there = address;
    missing += there == nullptr ? 1 : 0;
}

template <class Class, class Function>
void member(Function Class::*address) {
    Function Class::*volatile there = address;
    missing += there == nullptr ? 1 : 0;
}

void entryPoints() {
    function<void(wchar_t*, int, int, wchar_t*)>(&logMessage);
    function<void(wchar_t*)>(&setRecorderFile);
    function<void(wchar_t**)>(&deleteKESTArray);
    function<bool(const wchar_t*, const wchar_t*, wchar_t**)>(&CopyDirectoryTransacted);
    function<bool(unsigned long, wchar_t**)>(&restoreSystem);
}

void diagnostics() {
    member<k::Exception, void(const Text&)>(&k::Exception::setReason);
    member<k::Exception, const wchar_t*() const>(&k::Exception::getReason);
    member<k::Exception, const wchar_t*() const>(&k::Exception::getDetailedReason);
    static_assert(std::has_virtual_destructor_v<k::Exception>);
    function<Text(unsigned long, void*)>(&k::getSystemErrorMessage);
    function<void(unsigned long, const wchar_t*)>(&k::reportSystemError);

    using k::Recorder;
    function<Recorder*()>(&Recorder::instance);
    function<void()>(&Recorder::destroy);
    member<Recorder, void(const wchar_t*)>(&Recorder::setFile);
    member<Recorder, void(std::wostream*, Recorder::StreamLock*, bool)>(&Recorder::setStream);
    member<Recorder, bool() const>(&Recorder::isStreamSet);
    member<Recorder, void()>(&Recorder::flush);
    member<Recorder, Recorder&(const Text&)>(&Recorder::operator<<);
    // Anybody may copy the recorder, nobody but itself may destroy one.
    static_assert(
        std::is_same_v<decltype(new Recorder(std::declval<const Recorder&>())), Recorder*>);
    static_assert(!std::is_default_constructible_v<Recorder>);
}

void text() {
    function<Text(const Text&)>(&k::toLower);
    function<Text(const Text&)>(&k::chomp);
    function<void(const Text&, wchar_t, Positions&)>(&k::findStringDelimiters);
    function<void(const Text&, const wchar_t*, Positions&)>(&k::findStringDelimiters);
    function<void(const Text&, wchar_t, std::vector<Text>&)>(&k::split);
    function<void(Text&, wchar_t, wchar_t)>(&k::stringReplace);
    function<Text(const Text&, std::uint64_t&)>(&k::nextLine);
    function<std::string(const wchar_t*)>(&k::convertToString);
    function<Text(const char*)>(&k::convertToWString);
    function<const unsigned short*(const wchar_t*, Units&, unsigned long&)>(&k::transcode);
    function<const wchar_t*(const unsigned short*, Text&, unsigned long&)>(&k::transcode);
    function<bool(const Text&)>(&k::isIpv4Address);
    function<bool(wchar_t)>(&k::isAlpha);
    function<wchar_t*(const Text&)>(&k::allocateString);
    function<wchar_t*(const char*)>(&k::allocateString);
    function<void(void*, std::uint64_t, const void*, std::uint64_t)>(&k::memcpy);
    function<wchar_t*(wchar_t*, std::uint64_t, const wchar_t*)>(&k::wcscpy);
    function<Text(const std::string&)>(&k::fromNative);
    function<std::string(const Text&)>(&k::toNative);
    function<std::string(const Text&)>(&k::toUtf8);
}

void paths() {
    function<Text(const Text&)>(&k::baseName);
    function<Text(const Text&)>(&k::getFileExtension);
    function<void(Text&, const wchar_t*)>(&k::changeExtension);
    function<std::uint64_t(const Text&)>(&k::getPathLastComponent);
    function<Text(const Text&)>(&k::normalizePath);
    function<wchar_t(const Text&)>(&k::getDrive);
    function<bool(const Text&)>(&k::isDriveRootedPath);
    function<bool(const Text&, const Text&)>(&k::arePathsOnTheSameDrive);
    function<Text(const Text&)>(&k::getCurrentPath);
    function<Text(const Text&)>(&k::getCurrentPathNoDrive);
    function<bool(const Text&)>(&k::isHistoryPath);
    function<Text(const Text&)>(&k::getTimeFromHistoryPath);
    function<Text(const Text&)>(&k::localizeHistoryTime);
}

void time() {
    using k::DateTime;
    using Picture = const wchar_t*;
    member<DateTime, DateTime&(const DateTime&)>(&DateTime::operator=);
    member<DateTime, DateTime&(unsigned long)>(&DateTime::operator+=);
    member<DateTime, Text(bool, Picture, Picture, bool) const>(&DateTime::toString);
    member<DateTime, Text() const>(&DateTime::timestampString);
    member<DateTime, std::int64_t() const>(&DateTime::getSecondsSinceEpoch);
    member<DateTime, std::int64_t() const>(&DateTime::getMicroSecondsSinceEpoch);
    function<const DateTime>(&DateTime::s_begin);
    function<const DateTime>(&DateTime::s_end);
    function<const DateTime>(&DateTime::s_invalid);
    using Comparison = bool(const DateTime&, const DateTime&);
    function<Comparison>(&k::operator==);
    function<Comparison>(&k::operator!=);
    function<Comparison>(&k::operator<);
    function<Comparison>(&k::operator<=);
    function<Comparison>(&k::operator>);
    function<Comparison>(&k::operator>=);
    function<Text(const SYSTEMTIME&, Picture, Picture)>(&k::systemTimeToStringHuman);
    function<Text(const SYSTEMTIME&)>(&k::systemTimeToStringCoded);
    function<Text(FILETIME, bool, bool)>(&k::filetimeToString);
    // Zero is a count of seconds, not a pointer.
    missing += DateTime(0).getSecondsSinceEpoch() == 0 ? 0 : 1;
    missing += DateTime::s_begin < DateTime() && DateTime() < DateTime::s_end ? 0 : 1;
}

void sync() {
    member<k::Lock, bool(int)>(&k::Lock::acquire);
    member<k::Lock, bool()>(&k::Lock::release);
    member<k::LockGuard, bool() const>(&k::LockGuard::acquired);
    function<unsigned long()>(&k::getThreadId);
    k::Lock lock;
    const k::LockGuard guard(lock, -1);
    missing += guard.acquired() ? 0 : 1;
}

void config() {
    member<k::Configurable, Text(const Text&) const>(&k::Configurable::getProperty);
    static_assert(!std::is_convertible_v<const wchar_t*, k::Configurable>);
    static_assert(std::is_constructible_v<k::Configurable, const wchar_t*>);
}

class Listener : public k::Registry::Function {
public:
    void operator()(const Text& value) override { last = value; }
    Text last;
};

void registry() {
    using k::Registry;
    using Key = const wchar_t*;
    function<void(Registry::Hive, Key, Key, Text&)>(&Registry::getKeyValue);
    function<void(Registry::Hive, Key, std::vector<Text>&)>(&Registry::getSubKeys);
    function<void(Registry::Hive, Key, std::vector<Text>&)>(&Registry::getValues);
    function<void(Registry::Hive, Key, Key, Registry::Function&)>(&Registry::forEachSubKey);
    static_assert(Registry::HKCR == 0 && Registry::HKLM == 3 && Registry::HKU == 7);
    static_assert(std::has_virtual_destructor_v<Registry::Function>);
    Listener listener;
    Registry::Function& asFunction = listener;
    asFunction(L"x");
    missing += listener.last == L"x" ? 0 : 1;

    using k::Program;
    using Extensions = std::vector<Text>;
    member<Program, bool() const>(&Program::isInstalled);
    member<Program, Program*() const>(&Program::clone);
    member<Program, Text() const>(&Program::getPath);
    member<Program, void(const Text&)>(&Program::setPath);
    member<Program, void() const>(&Program::execute);
    member<Program, Text() const>(&Program::getCommand);
    member<Program, Text() const>(&Program::getOptions);
    member<Program, void(const Text&)>(&Program::setOptions);
    member<Program, Text() const>(&Program::getName);
    member<Program, void(const Text&)>(&Program::setExtensions);
    member<Program, void(const Extensions&)>(&Program::setExtensions);
    member<Program, void(const Text&)>(&Program::addExtensions);
    member<Program, void(const Extensions&)>(&Program::addExtensions);
    member<Program, Extensions() const>(&Program::getExtensions);

    k::InstalledPrograms programs;
    missing += programs.numberOfObjects() == 0 || !programs.first().getName().empty() ? 0 : 1;
    member<k::InstalledPrograms, bool(const Text&) const>(&k::InstalledPrograms::isInstalled);
    function<bool(Text&)>(&k::getInstallationDir);
}

void transacted() {
    function<void(const Text&, const Text&)>(&k::CopyDirectoryTransacted);
    function<void(Text)>(&k::DeleteDirectoryTransacted);
    function<Text(const wchar_t*, bool)>(&k::getLinkTarget);
    function<void(const wchar_t*, bool, bool)>(&k::reportFailure);
}

void restore() {
    using k::RestorePoint;
    member<RestorePoint, RestorePoint&(const RestorePoint&)>(&RestorePoint::operator=);
    member<RestorePoint, Text>(&RestorePoint::description);
    member<RestorePoint, Text>(&RestorePoint::type);
    member<RestorePoint, SYSTEMTIME*>(&RestorePoint::creationTime);
    member<RestorePoint, int>(&RestorePoint::sequenceNumber);
    function<void(std::vector<RestorePoint>&)>(&k::getRestorePoints);
    RestorePoint point;
    point.sequenceNumber = 12;
    const RestorePoint copy(point);
    missing += copy.sequenceNumber == 12 && copy.creationTime != point.creationTime ? 0 : 1;
}

/// The whole of a log statement and of a function trace works from a host.
void traceFromAHost() {
    k::Recorder::instance()->setFile(L"interface.log");
    const k::FunctionTrace trace(__func__, __FILE__, __LINE__);
    const Text wide = L"wide";
    LOG_INFO("narrow " << wide << ' ' << 1 << L" literal " << static_cast<std::uint64_t>(7));
    LOG_WARNING("x");
    LOG_ERROR("x");
    LOG_CRITICAL("x");
}

}  // namespace

int main() {
    entryPoints();
    diagnostics();
    text();
    paths();
    time();
    sync();
    transacted();
    restore();
    traceFromAHost();
    std::printf("%d missing\n", missing);
    return missing == 0 ? 0 : 1;
}
