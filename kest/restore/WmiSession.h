#pragma once

#include <string>
#include <vector>

#include "kest/platform/Win32.h"

/// A short session with the management service (WMI): opened, used and closed within one call of
/// the library. Internal. All failures are std::runtime_error, whose text is first written to the
/// trace at ERROR; without memory std::bad_alloc may come from anywhere.
///
/// A session is three pointers, null until set, which belong to the caller: the locator, the
/// services of one namespace, the enumerator of the last query.
///
///     IWbemLocator* locator = nullptr;
///     IWbemServices* services = nullptr;
///     setWmiInfo(L"ROOT\\DEFAULT", &locator, &services);
///     ...
///     cleanPointers(nullptr, locator, services);   // after a failure as well
namespace Tallowmere::wmi {

/// The values of one object that could be read, in the order in which they were asked for.
using Row = std::vector<std::wstring>;

/// How a result code stands in messages: lower-case hexadecimal digits, without "0x".
std::string codeText(HRESULT code);

/// Makes the thread ready for COM and connects to a namespace. A failure leaves the pointers that
/// were set already in place.
void setWmiInfo(const wchar_t* namespacePath, IWbemLocator** locator, IWbemServices** services);

/// Starts a query in the language WQL; `*enumerator` is null after a failure.
void executeQuery(const wchar_t* query, IEnumWbemClassObject** enumerator,
                  IWbemServices** services);

/// Appends one row for each object that a query gives. A property that cannot be read, and one that
/// is neither a text nor a 32-bit integer, adds nothing, so a row can be shorter than
/// `propertyNames`. `query` is there for the message of a failure. After one, the rows read so far
/// are there.
void getInfo(IEnumWbemClassObject* enumerator, const std::vector<std::wstring>& propertyNames,
             std::vector<Row>& rows, const wchar_t* query);

/// Releases what is not null and ends the thread's use of COM.
void cleanPointers(IEnumWbemClassObject* enumerator, IWbemLocator* locator,
                   IWbemServices* services) noexcept;

/// A whole session for one query. `rows` is emptied first.
void getWmiInfo(const wchar_t* namespacePath, const wchar_t* query,
                const std::vector<std::wstring>& propertyNames, std::vector<Row>& rows);

}  // namespace Tallowmere::wmi
