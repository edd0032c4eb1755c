#pragma once

#include "engine/recording/Bytes.h"

/** Appends a chunk as AVI files are made of: a type of four letters, its size, its body, made even.
 */
inline void appendRiffChunk(Bytes &target, std::string_view type, ByteView body)
{
    appendText(target, type);
    appendLe(target, body.size(), 4);
    appendBytes(target, body);
    if (body.size() % 2 != 0)
        target.push_back(0);
}

/** The list of a stream ("strl") of an AVI file: its header ("strh") and its format ("strf"). */
inline Bytes streamList(ByteView header, ByteView format)
{
    Bytes list;
    appendText(list, "strl");
    appendRiffChunk(list, "strh", header);
    appendRiffChunk(list, "strf", format);
    Bytes whole;
    appendRiffChunk(whole, "LIST", list);
    return whole;
}
