#ifdef __cplusplus
extern "C"
#endif
    /// Builds the filter chain through the flat C++ functions and tells its leads through the C interface.
    int
    BuildChain(short leads);
