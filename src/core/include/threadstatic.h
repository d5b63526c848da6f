// One private instance of a scratch object per thread, so that function-level
// scratch buffers stay correct when several threads run the same code.
#pragma once

#include <pthread.h>

#include "ThreadMutex.h"

template <class T>
class threadstatic {
public:
    struct Node {
        pthread_t threadId;
        bool fresh;
        T value;
        Node* next;
    };

    threadstatic() : head(nullptr) {}
    // Nodes live until the process ends, like the statics that hold them.
    ~threadstatic() {}
    threadstatic(const threadstatic&) = delete;
    threadstatic& operator=(const threadstatic&) = delete;

    // The calling thread's instance, made on first use with fresh set; later
    // calls clear fresh. Finding an existing instance takes no lock: appending
    // only fills a null next pointer (with release order), so a reader always
    // sees a whole list.
    T& operator*() {
        Node* node = find();
        if (node) {
            node->fresh = false;
            return node->value;
        }
        return append()->value;
    }
    T* operator->() { return &**this; }

    // True until the calling thread's second use: first-use set-up goes here.
    bool isFresh() {
        Node* node = find();
        return node ? node->fresh : true;
    }

    Node* head;
    ThreadMutex lock;

private:
    Node* find() {
        pthread_t self = pthread_self();
        for (Node* n = __atomic_load_n(&head, __ATOMIC_ACQUIRE); n;
             n = __atomic_load_n(&n->next, __ATOMIC_ACQUIRE)) {
            if (pthread_equal(n->threadId, self)) return n;
        }
        return nullptr;
    }

    Node* append() {
        Node* node = new Node{pthread_self(), true, T(), nullptr};
        ThreadMutexGuard guard(lock);
        Node** slot = &head;
        while (Node* n = __atomic_load_n(slot, __ATOMIC_ACQUIRE)) slot = &n->next;
        __atomic_store_n(slot, node, __ATOMIC_RELEASE);
        return node;
    }
};
