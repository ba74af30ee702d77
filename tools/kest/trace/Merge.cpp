#include "trace/Merge.h"

namespace Tallowmere::command::trace {

Merge::Merge(const std::vector<Reader*>& readers) {
    for (Reader* const reader : readers) {
        m_inputs.push_back({reader, false});
    }
}

const Entry* Merge::next() {
    if (m_current != nullptr) {
        m_current->isLoaded = m_current->reader->next();
        m_current = nullptr;
    } else {
        // The first call, or one after all had come to their ends: some may have grown.
        for (Input& input : m_inputs) {
            input.isLoaded = input.isLoaded || input.reader->next();
        }
    }
    for (Input& input : m_inputs) {
        if (input.isLoaded && (m_current == nullptr ||
                               input.reader->entry().when < m_current->reader->entry().when)) {
            m_current = &input;
        }
    }
    return m_current == nullptr ? nullptr : &m_current->reader->entry();
}

}  // namespace Tallowmere::command::trace
