// Tells how picture and sound stand where one clip ends and the next begins.
#pragma once

#include <cstddef>

namespace clipchain {

// How far picture and sound of the result have run apart where a clip ends. The engine appends each
// track by itself, so what one clip has too much or too little of a track moves all that follows.
struct Seam {
  // Index of the clip that ends here.
  std::size_t clip;
  // Between the track that is farthest ahead and the one farthest behind.
  double milliseconds;
};

}  // namespace clipchain
