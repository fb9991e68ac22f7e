// The four forms of the linear filter that the library uses, compiled once.
#include "filter/linear_filter.h"

namespace vorel::audio {

template void linerfilter<float, float, float, float>(float*, const float*, const float*, const float*, float*, int,
                                                      int, int, int, int, bool);
template void linerfilter<double, float, float, double>(double*, const float*, const float*, const float*, double*, int,
                                                        int, int, int, int, bool);
template void linerfilter<double, double, float, double>(double*, const double*, const float*, const float*, double*,
                                                         int, int, int, int, int, bool);
template void linerfilter<float, double, float, double>(float*, const double*, const float*, const float*, double*, int,
                                                        int, int, int, int, bool);

}  // namespace vorel::audio
