/* The rule for a blended channel, also for colours above their alpha, whose sums wrap. Narrower
   channels, and where the pixels go, are compared on real windows. */

#include <gtest/gtest.h>

#include "display/cursor_blend.h"

TEST(Blend, FollowsTheRuleForEveryChannelValue) {
  const BlendFormat format = blend_format(0xFF0000, 0x00FF00, 0x0000FF);
  for (uint32_t alpha = 0; alpha < 256; ++alpha)
    for (uint32_t colour = 0; colour < 256; ++colour)
      for (uint32_t picture = 0; picture < 256; ++picture) {
        const uint32_t expected = (colour + (picture * (255 - alpha) + 127) / 255) & 255;
        ASSERT_EQ(blend_pixel(format, alpha << 24 | colour * 0x10101u, picture * 0x10101u),
                  expected * 0x10101u)
            << colour << " with alpha " << alpha << " over " << picture;
      }
}
