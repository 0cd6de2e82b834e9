// SPDX-FileCopyrightText: hbTools developers
// SPDX-License-Identifier: MIT
//
// XML_PARSER: an XML document and a cursor in it. The cursor stands on the root or, within it, on an element, a text or a
// CDATA section; comments and processing instructions stay in the document, and it passes them by. Moves and changes return
// 1 for success and 0 for failure, which changes nothing, and Get_LastError tells why.
//
//     XML_PARSER xml;
//     if (xml.Load_XML_Document(L"conditions.xml") && xml.Go_to_Child(L"temperature")) Use(xml.Get_TextValue());
//
// Documents are read strictly: what is not well-formed is refused, and so is a document type declaration, so that no entity
// grows and no other file is ever opened. Read and written are UTF-8, UTF-16 (also as UTF-16LE and UTF-16BE), ISO-8859-1,
// US-ASCII and windows-1252; Save keeps the one that the document declares. Blank text between elements is dropped on load;
// in mixed content it is kept. Nesting is bounded by KxLimits. The class throws nothing but std::bad_alloc and what hooks
// throw; then too document and file are as before, or after a load empty. Prefixes are part of names: there are no
// namespaces. One thread at a time. A null
// text that is given counts as an empty one.
#pragma once

#include "hbtools/base/syString.h"

#include <memory>
#include <string>

namespace pugi {
class xml_node;
}

namespace KxN {

/// The value of an attribute.
class CComVariant {
public:
    CComVariant() = default;
    explicit CComVariant(KxString text) : m_text(std::move(text)) {}
    operator KxString const&() const { return m_text; }

private:
    KxString m_text;
};

class KX_API XML_PARSER {
public:
    XML_PARSER();
    XML_PARSER(XML_PARSER const&) = delete;
    XML_PARSER& operator=(XML_PARSER const&) = delete;
    virtual ~XML_PARSER();
    /// Called on load for each node in turn, the cursor on it. Must not change the document. After what it throws, which
    /// comes out of the load, the document is empty.
    virtual void Parse_XML_Document();

    // The document. After a load the cursor is on the root; after a failure the document is empty.
    int Load_XML_Document(wchar_t const* path);
    /// The encoding that the text declares does not count for reading.
    void Load_XML_From_Buffer(wchar_t const* text);
    /// Replaces the file whole or not at all. Characters that the declared encoding lacks become references; where there
    /// can be none, in a name, CDATA or a comment, the document is written as UTF-8 and says so. A CDATA section with a
    /// carriage return or with its own end comes back as several nodes of the same text. Fails, and the file is as it was,
    /// if the declared encoding is none of those above.
    int Save_XML_Document(wchar_t const* path);
    void Reset_XML_Document();
    int Get_XML_Document(KxString& text);
    int Get_XML(KxString& text);                                    ///< Of the current node with all it contains.
    KxString GetCurrentDocument() const { return m_documentText; }  ///< The text last loaded from a buffer or got.
    /// The value of an attribute in the processing instruction of that target; "xml" is the declaration. Taken is the first
    /// quoted text behind the first place where the name stands, be it within a longer one.
    int Get_Header(wchar_t const* header, wchar_t const* attribute, KxString& value);
    /// Makes what is missing, an instruction before the root. Fails, and nothing changes, if the instruction is not made of
    /// names with quoted values, or would not be read again.
    int Set_Header(wchar_t const* header, wchar_t const* attribute, wchar_t const* value);
    /// Why the last load failed, with line and column; empty if it did not.
    KxString const& Get_LoadFailure() const { return m_loadFailure; }

    // Moves. On 0 the cursor stays.
    int Go_to_Root();
    // With a name each goes on from node to node until one has it.
    int Go_to_Child();
    int Go_to_Child(wchar_t const* name);
    int Go_to_Parent();
    int Go_to_Parent(wchar_t const* name);
    int Go_Forward();
    int Go_Forward(wchar_t const* name);
    int Go_Backward();
    int Go_Backward(wchar_t const* name);
    int Go_to_FirstSibling(wchar_t const* name);
    int Go_to_Descendant(wchar_t const* name);  ///< Depth first, the current node not included.

    // What the cursor stands on.
    // References are good until the next call.
    KxString const& Get_CurrentTag() const;   ///< "<name>", "<#TEXT#>", "<#CDATA#>".
    KxString const& Get_CurrentName() const;  ///< The same without brackets.
    KxString const& Get_TextValue();          ///< Of an element: all text in it.
    KxString const& Get_LastError() const;    ///< Of the last operation that failed; success leaves it.
    KxString const& Get_Chain() const;        ///< The tags from the root down to the parent.
    int Is_Tag(wchar_t const* tag) const;
    int Is_Child_of(wchar_t const* chain) const;  ///< Whether the chain of tags ends so.
    int Is_Root() const;
    int Is_TextNode() const;
    int Is_CDataSection() const;
    int HasChildren() const;  ///< Such as the cursor may stand on.
    long long Get_Attribute_Count();
    KxString const& Get_Attribute_Name(int index);
    CComVariant const& Get_Attribute_Value(int index);
    /// Chooses the attribute for the next operation.
    int Is_Having_Attribute(wchar_t const* name);
    CComVariant const& Get_Attribute_Value();

    // Changes. What is added becomes the current node; in an empty document a child becomes the root. Names and characters
    // that XML does not have are refused.
    int Add_FirstChildNode(wchar_t const* name);
    int Add_LastChildNode(wchar_t const* name);
    int Add_NodeBefore(wchar_t const* name);
    int Add_NodeAfter(wchar_t const* name);
    int Add_FirstChildCData(wchar_t const* text);
    int Add_LastChildCData(wchar_t const* text);
    int Add_CDataBefore(wchar_t const* text);
    int Add_CDataAfter(wchar_t const* text);
    int Set_Attribute(wchar_t const* name, wchar_t const* value);
    /// Looks at those in front of it, of at most `KxLimits::xmlAttributes`.
    int Remove_Attribute(wchar_t const* name);
    int Set_TextValue(wchar_t const* text);  ///< In place of all that an element contains, comments included.
    int Remove();                            ///< The current node; the cursor moves to its parent.
    /// The first of that name, found by looking at each; texts and CDATA have theirs too.
    int RemoveChild(wchar_t const* name);

private:
    struct SDocument;
    enum class Place { firstChild, lastChild, before, after };

    int Init_MSXML();
    void Grab_Node_Informations() const;
    void SetCurrent(pugi::xml_node node);
    void Parse_Objects();
    int Fail(wchar_t const* text);
    int Load(std::string const& bytes, char const* encoding);
    int MoveTo(pugi::xml_node node);
    int NotMoved();
    int Add(wchar_t const* content, bool isCData, Place place, wchar_t const* failureAtRoot);
    static std::string ChainOf(pugi::xml_node node, std::size_t atLeast);

    std::unique_ptr<SDocument> m_document;
    KxString m_text, m_documentText, m_loadFailure;
    mutable KxString m_lastError;
    mutable wchar_t const* m_failure = nullptr;  // which becomes the last error when that is asked for
    int m_chosenAttribute = -1;                  // its number
    // Copied from the current node when they are asked for: most moves only pass by.
    mutable bool m_isGrabbed = false, m_hasChain = false;
    mutable KxString m_tag, m_chain, m_name;
};

}  // namespace KxN
