#include <pb/sort.hpp>
#include <rfc/rfc_base_options.h>

struct RFC_BASE_OPTIONS : PB_OBJ
{
    PB_INT flags;
    PB_INT outputLineLength;
    PB_INT outputNlf;
};

static constexpr auto baseOptionsFields = pb::fields<&RFC_BASE_OPTIONS::flags, &RFC_BASE_OPTIONS::outputLineLength, &RFC_BASE_OPTIONS::outputNlf>;

static PB_INT compareBaseOptions( RFC_BASE_OPTIONS *optionsA, RFC_BASE_OPTIONS *optionsB )
{
    PB_CHECK( optionsA );
    PB_CHECK( optionsB );
    return baseOptionsFields.compare( optionsA, optionsB );
}

PB_SORT_DEFINE( rfc, BaseOptions, RFC_BASE_OPTIONS, .compare = pb::slot<compareBaseOptions> )

static RFC_BASE_OPTIONS *writable( RFC_BASE_OPTIONS **options ) { return pb::makeWritable( options, rfcBaseOptionsCreateFrom ); }

RFC_BASE_OPTIONS *rfcBaseOptionsCreate() { return pb::create<RFC_BASE_OPTIONS>(); }

RFC_BASE_OPTIONS *rfcBaseOptionsCreateFrom( RFC_BASE_OPTIONS *source ) { return PB_CHECK( source ), pb::copyOf( baseOptionsFields, source ); }

PB_INT rfcBaseOptionsFlags( RFC_BASE_OPTIONS *options ) { return PB_CHECK( options ), options->flags; }

void rfcBaseOptionsSetFlags( RFC_BASE_OPTIONS **options, PB_INT flags )
{
    PB_CHECK_HANDLE( options );
    writable( options )->flags = flags & RFC_BASE_FLAGS_MASK;
}

PB_INT rfcBaseOptionsOutputLineLength( RFC_BASE_OPTIONS *options ) { return PB_CHECK( options ), options->outputLineLength; }

void rfcBaseOptionsSetOutputLineLength( RFC_BASE_OPTIONS **options, PB_INT lineLength )
{
    PB_CHECK_HANDLE( options );
    PB_CHECK( lineLength >= 0 );
    writable( options )->outputLineLength = lineLength;
}

PB_INT rfcBaseOptionsOutputNlf( RFC_BASE_OPTIONS *options ) { return PB_CHECK( options ), options->outputNlf; }

void rfcBaseOptionsSetOutputNlf( RFC_BASE_OPTIONS **options, PB_INT nlf )
{
    PB_CHECK_HANDLE( options );
    PB_CHECK( RFC_BASE_NLF_OK( nlf ) );
    writable( options )->outputNlf = nlf;
}
