// AIFF and AIFC files as bytes, right in all but what a test changes.
#pragma once

#include "tests/engine_fixture.h"

// A chunk as it should be: an odd body is followed by a pad byte.
inline Bytes Chunk(const char* id, const Bytes& body)
{
    const Bytes pad(body.size() % 2, 0);
    return Join({Text(id), Big(4, body.size()), body, pad});
}

inline Bytes Form_Of_Size(const char* type, uint64_t size, const std::vector<Bytes>& chunks)
{
    return Join({Text("FORM"), Big(4, size), Text(type), Join(chunks)});
}

inline Bytes Aiff(const std::vector<Bytes>& chunks)
{
    return Form_Of_Size("AIFF", 4 + Join(chunks).size(), chunks);
}

inline Bytes Aifc(const std::vector<Bytes>& chunks)
{
    return Form_Of_Size("AIFC", 4 + Join(chunks).size(), chunks);
}

inline const Bytes Rate_8000 = {0x40, 0x0B, 0xFA, 0, 0, 0, 0, 0, 0, 0};

// The 18 bytes of COMM that both forms have.
inline Bytes Layout(unsigned channels, uint64_t frames, unsigned bits)
{
    return Join({Big(2, channels), Big(4, frames), Big(2, bits), Rate_8000});
}

inline Bytes Comm(unsigned bits, uint64_t frames = 2)
{
    return Chunk("COMM", Layout(1, frames, bits));
}

inline Bytes Comm_Of_Type(const char* type, unsigned bits, const char* name = "")
{
    return Chunk("COMM", Join({Layout(1, 2, bits), Text(type), Text(name)}));
}

inline Bytes Sound_Body(uint64_t offset, const Bytes& rest)
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

// Two channels, two frames of 16 bits at 44100 hertz.
inline const Bytes Plain_Aiff = {'F', 'O', 'R',  'M',  0,    0,    0,  54, 'A', 'I', 'F', 'F', 'C',
                                 'O', 'M', 'M',  0,    0,    0,    18, 0,  2,   0,   0,   0,   2,
                                 0,   16,  0x40, 0x0E, 0xAC, 0x44, 0,  0,  0,   0,   0,   0,   'S',
                                 'S', 'N', 'D',  0,    0,    0,    16, 0,  0,   0,   0,   0,   0,
                                 0,   0,   0,    1,    0,    2,    0,  3,  0,   4};

inline const Bytes Plain_Aifc =
    Join({Text("FORM"), Big(4, 86),   Text("AIFC"),
          Text("FVER"), Big(4, 4),    Big(4, 0xA2805140),
          Text("COMM"), Big(4, 38),   Big(2, 2),
          Big(4, 2),    Big(2, 16),   {0x40, 0x0E, 0xAC, 0x44, 0, 0, 0, 0, 0, 0},
          Text("NONE"), {14},         Text("not compressed"),
          {0},          Text("SSND"), Big(4, 16),
          Big(4, 0),    Big(4, 0),    Bytes(8, 0)});
