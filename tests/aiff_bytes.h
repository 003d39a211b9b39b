// AIFF and AIFC files as bytes, right in all but what a test changes.
#pragma once

#include "tests/plain_formats.h"

inline const char Length[] = "2,16: Audiofile_Open_Read: incorrect data chunk length in header";
inline const char Too_Short[] = "3,16: FileAccess_Get_String: EOF on file ";

// What comes before a chunk's body.
inline Bytes Head(const char* id, uint64_t size)
{
    return Join({Text(id), Big(4, size)});
}

// A chunk as it should be: an odd body is followed by a pad byte.
inline Bytes Chunk(const char* id, const Bytes& body)
{
    return Join({Head(id, body.size()), body, Bytes(body.size() % 2, 0)});
}

inline Bytes Sized(uint64_t size, const std::vector<Bytes>& chunks, const char* type = "AIFF")
{
    return Join({Head("FORM", size), Text(type), Join(chunks)});
}

inline Bytes Aiff(const std::vector<Bytes>& chunks, const char* type = "AIFF")
{
    return Sized(4 + Join(chunks).size(), chunks, type);
}

inline Bytes Aifc(const std::vector<Bytes>& chunks)
{
    return Aiff(chunks, "AIFC");
}

// The 18 bytes of COMM that both forms have.
inline Bytes Layout(unsigned channels, uint64_t frames, unsigned bits,
                    const Bytes& rate = Rate_8000)
{
    return Join({Big(2, channels), Big(4, frames), Big(2, bits), rate});
}

inline Bytes Comm(unsigned bits, uint64_t frames = 2)
{
    return Chunk("COMM", Layout(1, frames, bits));
}

inline Bytes Comm_Of_Type(const char* type, unsigned bits, const char* name = "")
{
    return Chunk("COMM", Join({Layout(1, 2, bits), Text(type), Text(name)}));
}

inline Bytes Sound_Body(uint64_t offset, const Bytes& rest = {})
{
    return Join({Big(4, offset), Big(4, 0xBEEFBEEF), rest}); // nothing depends on the block size
}

inline Bytes Sound(uint64_t offset, const Bytes& rest)
{
    return Chunk("SSND", Sound_Body(offset, rest));
}

inline const Bytes Mono_16 = Comm(16);
inline const Bytes Four_Bytes = Sound(0, {1, 2, 3, 4});
inline const Bytes Version = Chunk("FVER", {0xA2, 0x80, 0x51, 0x40});

inline Bytes With(const Bytes& comm)
{
    return Aiff({comm, Four_Bytes});
}

inline Bytes Typed(const char* type, unsigned bits, const char* name = "")
{
    return Aifc({Comm_Of_Type(type, bits, name), Four_Bytes});
}

// Two channels, two frames of 16 bits at 44100 hertz.
inline const Bytes Plain_Aiff = {'F', 'O', 'R',  'M',  0,    0,    0,  54, 'A', 'I', 'F', 'F', 'C',
                                 'O', 'M', 'M',  0,    0,    0,    18, 0,  2,   0,   0,   0,   2,
                                 0,   16,  0x40, 0x0E, 0xAC, 0x44, 0,  0,  0,   0,   0,   0,   'S',
                                 'S', 'N', 'D',  0,    0,    0,    16, 0,  0,   0,   0,   0,   0,
                                 0,   0,   0,    1,    0,    2,    0,  3,  0,   4};

inline const Bytes Plain_Aifc =
    Aifc({Version,
          Chunk("COMM", Join({Layout(2, 2, 16, {0x40, 0x0E, 0xAC, 0x44, 0, 0, 0, 0, 0, 0}),
                              Text("NONE\x0Enot compressed"),
                              {0}})),
          Chunk("SSND", Bytes(16, 0))});
