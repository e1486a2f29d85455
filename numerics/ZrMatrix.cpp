// The six matrix classes are compiled once here.
#include "numerics/ZrMatrix.h"

template class ZrMatrix<float>;
template class ZrMatrix<double>;
template class ZrMatrix<int32_t, ZrLongMatrixTag>;
template class ZrMatrix<int32_t>;
template class ZrMatrix<long double>;
template class ZrMatrix<std::complex<long double>>;
