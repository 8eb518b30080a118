"""The standard 64-bit Mersenne Twister and the uniform doubles made from it, one output each."""

import dataclasses
import math

SIZE = 312
SHIFT = 156
MASK = (1 << 64) - 1
TWIST = 0xB5026F5AA96619E9
LOW_BITS = (1 << 31) - 1


@dataclasses.dataclass
class Mt64:
    """312 words; `used` of them have been given out since the last refill."""
    words: list
    used: int = SIZE


def seed_mt64(seed):
    """The generator as its standard seeding from one 64-bit value leaves it."""
    words = [seed & MASK]
    for index in range(1, SIZE):
        previous = words[-1]
        words.append((6364136223846793005 * (previous ^ previous >> 62) + index) & MASK)
    return Mt64(words)


def next_u64(mt):
    """The next output."""
    if mt.used == SIZE:
        words = mt.words
        for index in range(SIZE):
            mixed = words[index] & ~LOW_BITS & MASK | words[(index + 1) % SIZE] & LOW_BITS
            words[index] = words[(index + SHIFT) % SIZE] ^ mixed >> 1 ^ (TWIST if mixed & 1 else 0)
        mt.used = 0
    value = mt.words[mt.used]
    mt.used += 1
    value ^= value >> 29 & 0x5555555555555555
    value ^= value << 17 & 0x71D67FFFEDA60000
    value ^= value << 37 & 0xFFF7EEE000000000
    return value ^ value >> 43


def uniform(mt):
    """A double in [0, 1): the output divided by 2 to the 64th, never rounded up to 1."""
    return min(float(next_u64(mt)) / 18446744073709551616.0, math.nextafter(1.0, 0.0))
