#pragma once

namespace Tallowmere {

/// Walks a collection of objects, one of which is the current one. What the operations mean where
/// there is no object is the collection's to say.
template <class T>
class Iterator {
public:
    virtual ~Iterator() = default;

    /// Moves to the first object and returns it.
    virtual T& first() = 0;
    /// Moves to the last object and returns it.
    virtual T& last() = 0;
    /// Moves to the next object; false when that is past the end.
    virtual bool next() = 0;
    /// Moves to the object before; false, without moving, at the first one.
    virtual bool previous() = 0;
    virtual T& current() = 0;  ///< The object at the position.
    /// Collects the objects anew.
    virtual void refresh() = 0;
    virtual unsigned int numberOfObjects() const = 0;  ///< How many objects there are.

protected:
    Iterator() = default;                            ///< For the collection.
    Iterator(const Iterator&) = default;             ///< For the collection.
    Iterator& operator=(const Iterator&) = default;  ///< For the collection.
};

}  // namespace Tallowmere
