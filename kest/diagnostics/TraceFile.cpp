#include "kest/diagnostics/TraceFile.h"

#include "kest/diagnostics/TraceLocale.h"

namespace Tallowmere {

TraceFile::TraceFile(const std::string& name) : std::wostream(nullptr), m_buffer(m_file) {
    // Bytes pass through as they are and at once; Utf8Buffer does the gathering, and so learns how
    // much of a line the system took.
    m_file.pubimbue(std::locale::classic());
    m_file.pubsetbuf(nullptr, 0);
    rdbuf(&m_buffer);
    imbue(traceLocale());
    if (m_file.open(name.c_str(), std::ios_base::out) == nullptr) {
        setstate(std::ios_base::failbit);
    }
}

TraceFile::~TraceFile() = default;

void TraceFile::beginLine() {
    if (m_file.is_open()) {
        clear();
    }
}

}  // namespace Tallowmere
