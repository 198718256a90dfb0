// Doubly linked lists with a sentinel: an empty list points to itself.
#pragma once

struct ListLink {
    ListLink *prev;
    ListLink *next;
};

inline void ListInit(ListLink *head) {
    head->prev = head;
    head->next = head;
}

inline bool ListEmpty(const ListLink *head) {
    return head->next == head;
}

inline void ListAppend(ListLink *head, ListLink *link) {
    link->prev = head->prev;
    link->next = head;
    head->prev->next = link;
    head->prev = link;
}

inline void ListRemove(ListLink *link) {
    link->prev->next = link->next;
    link->next->prev = link->prev;
    link->prev = link;
    link->next = link;
}
