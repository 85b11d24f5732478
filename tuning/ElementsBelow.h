#pragma once

#include "tuning/TagIterator.h"

namespace velora {

/// Walks the elements below the current one, skipping text and comments, and returns the iterator
/// to where it was at the end of the scope:
///
///     for (ElementsBelow bands(it, 3); bands; bands.next()) read(it);
///
/// A temporary of one function and one thread. Borrows the iterator. There is nothing to walk if
/// the element has no children.
class ElementsBelow {
public:
    /// Descends `levels` times as `TagIterator::childrenNext` does, so at each level the first
    /// child is passed over. At the levels between, the second child is entered whatever it is.
    explicit ElementsBelow(TagIterator& it, int levels = 1) : mIterator(it) {
        mIterator.pushNode();
        for (; levels > 0 && mHasChildren; --levels) {
            mHasChildren = mIterator.isChildrenValid();
            mIterator.childrenNext();
        }
        skipOthers();
    }
    ~ElementsBelow() { mIterator.popNode(); }
    ElementsBelow(const ElementsBelow&) = delete;
    ElementsBelow& operator=(const ElementsBelow&) = delete;

    /// Whether the iterator is at one of the elements; false after the last one.
    explicit operator bool() const { return mHasChildren && mIterator.isCurValid(); }

    void next() {
        mIterator.next();
        skipOthers();
    }

private:
    void skipOthers() {
        while (*this && !mIterator.isElementNode()) mIterator.next();
    }

    TagIterator& mIterator;
    bool mHasChildren = true;  ///< at every level so far
};

}  // namespace velora
