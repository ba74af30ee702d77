#include "kest/diagnostics/TraceFile.h"

#include "kest/diagnostics/TraceLocale.h"

namespace Tallowmere {

TraceFile::TraceFile(const std::string& name) : std::wostream(nullptr), m_buffer(m_file) {
    rdbuf(&m_buffer);
    imbue(traceLocale());
    if (!m_file.open(name)) {
        setstate(std::ios_base::failbit);
    }
    look();
}

TraceFile::~TraceFile() = default;

void TraceFile::beginLine() {
    if (m_file.isOpen()) {
        clear();
        look();
    }
}

void TraceFile::look() {
    const bool isAsOpened = good() && flags() == (skipws | dec) && width() == 0 &&
                            rdbuf() == &m_buffer && tie() == nullptr && getloc() == traceLocale() &&
                            !m_buffer.isPairOpen();
    m_isPlain.store(isAsOpened, std::memory_order_relaxed);
}

}  // namespace Tallowmere
