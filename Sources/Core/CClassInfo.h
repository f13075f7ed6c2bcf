#pragma once

#include "Core/CArray.h"
#include "Core/CAttrValue.h"
#include "Core/CCheckedObject.h"
#include "Core/CError.h"
#include "Core/CString.h"
#include "Core/CStringMap.h"

#include <type_traits>

namespace kel
{

class CObject;

// What the tree knows about one class: its attribute handlers (attribute name to handler, in the
// order they were added) and its event procedures (name to procedure, for listenObject and the
// event bridges). One CClassInfo is made per creator row at start-up by the row's registration
// function, which calls its base class's registration first and then adds its own:
//
//     static void registerClass(CClassInfo& info)
//     {
//         CObject::registerClass(info);
//         info.addAttrHandler<CMyClass>("is-storable", &CMyClass::attrIsStorable);
//         info.addEventProc<CMyClass>("update", &CMyClass::onUpdate);
//     }
//
// Handlers and procedures are members of the class (virtual ones dispatch as usual). Adding a name
// that the base already added replaces the base's entry, keeping its place. Read-only after
// start-up. [set-up thread; read from any thread afterwards]
class CClassInfo : public CCheckedObject
{
public:
    // An attribute handler runs when its attribute was set (at once, or pending until
    // createChilds); it reads the attribute itself.
    using AttrHandler = CError* (CObject::*)();
    using EventProc = CError* (CObject::*)();
    using EventProcWithParams = CError* (CObject::*)(const CAttrMap& params);

    struct EventEntry
    {
        EventProc proc = nullptr;
        EventProcWithParams procWithParams = nullptr;
        bool hasParams() const { return procWithParams != nullptr; }
    };

    template <class T> void addAttrHandler(const char* attrName, CError* (T::*handler)())
    {
        static_assert(std::is_base_of<CObject, T>::value, "handlers are members of a CObject");
        addAttrHandlerErased(attrName, static_cast<AttrHandler>(handler));
    }
    template <class T> void addEventProc(const char* eventName, CError* (T::*proc)())
    {
        static_assert(std::is_base_of<CObject, T>::value, "procedures are members of a CObject");
        EventEntry entry;
        entry.proc = static_cast<EventProc>(proc);
        eventProcs.set(CString(eventName), entry);
    }
    template <class T>
    void addEventProc(const char* eventName, CError* (T::*proc)(const CAttrMap& params))
    {
        static_assert(std::is_base_of<CObject, T>::value, "procedures are members of a CObject");
        EventEntry entry;
        entry.procWithParams = static_cast<EventProcWithParams>(proc);
        eventProcs.set(CString(eventName), entry);
    }

    // Index of the attribute's handler, or -1.
    int findAttrHandler(const CString& attrName) const;
    int getHandlerCount() const { return handlers.getCount(); }
    AttrHandler getHandler(int index) const { return handlers[index]; }
    // Null when the class has no such procedure.
    const EventEntry* findEventProc(const CString& eventName) const;

private:
    void addAttrHandlerErased(const char* attrName, AttrHandler handler);

    CStringMap<int> handlerIndices;
    CArray<AttrHandler, 16> handlers;
    CStringMap<EventEntry> eventProcs;
};

// Makes one object of a class, not yet linked into a tree.
using CObjectCreator = CObject* (*)();
// Fills the class info of a class (see CClassInfo).
using CClassRegistration = void (*)(CClassInfo& info);

// One row of a creators table: a tag, how to make its object, how to describe its class.
//     static const CCreatorRow rows[] = {
//         CCreatorRow::of<CMyClass>("audio:my-tag"),
//     };
//     KEL_CHECK(CObject::registerCreators(rows, 1));
// CCreatorRow::of needs a public default constructor and a static registerClass(CClassInfo&).
struct CCreatorRow
{
    const char* tag;
    CObjectCreator creator;
    CClassRegistration registration;

    template <class T> static CObject* create() { return new T(); }
    template <class T> static constexpr CCreatorRow of(const char* tagName)
    {
        return CCreatorRow{tagName, &CCreatorRow::create<T>, &T::registerClass};
    }
};

} // namespace kel
