#include "front/creator.h"

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <string_view>

#include "clip/sequence_engine.h"
#include "foundation/com_ptr.h"
#include "foundation/strings.h"
#include "front/engine_ctrl.h"

using MP4G::IMp4Sequence;
using MP4G::IMp4SequenceCreator;

namespace {

template <class To, class From>
To CopyIdentifier(const From& from) {
  To to{from.Data1, from.Data2, from.Data3, {}};
  std::copy(std::begin(from.Data4), std::end(from.Data4), to.Data4);
  return to;
}

bool IsZero(const _tagQVGUID& id) {
  return id.Data1 == 0 && id.Data2 == 0 && id.Data3 == 0 &&
         std::all_of(std::begin(id.Data4), std::end(id.Data4),
                     [](std::uint8_t byte) { return byte == 0; });
}

// What `ask` answers about the sequence at `index`, or `none` where there is no such sequence.
template <class Answer, class Ask>
Answer AskSequence(const std::unique_ptr<CEngineCtrl>& engine, int index, Answer none, Ask ask) {
  QUIRVA::ComPtr<IMp4Sequence> sequence;
  sequence.Attach(MP4G::getSequence(engine.get(), index));
  return sequence ? ask(*sequence) : none;
}

}  // namespace

namespace MP4G {

IMp4SequenceCreator* getCreator(CEngineCtrl* control) {
  return control != nullptr ? control->sequenceCreator.get() : nullptr;
}

IMp4Sequence* getSequence(CEngineCtrl* control, int index) {
  IMp4SequenceCreator* creator = getCreator(control);
  if (creator == nullptr) return nullptr;
  QUIRVA::ComPtr<IMp4Sequence> sequence;
  // A negative index is out of range as the large number that it becomes.
  const HRESULT result =
      creator->GetSequenceAtIndex(static_cast<unsigned int>(index), sequence.Receive());
  return result == S_OK ? sequence.Detach() : nullptr;
}

_GUID QVGUIDtoGUID(_tagQVGUID id) { return CopyIdentifier<_GUID>(id); }

_tagQVGUID GUIDtoQVGUID(_GUID id) { return CopyIdentifier<_tagQVGUID>(id); }

}  // namespace MP4G

CreatorImpl::CreatorImpl() = default;

CreatorImpl::~CreatorImpl() { reset(); }

HRESULT CreatorImpl::initialize() {
  reset();
  engine = std::make_unique<CEngineCtrl>(nullptr);
  return engine->Initialize();
}

void CreatorImpl::reset() { engine.reset(); }

HRESULT CreatorImpl::registerMp4(const wchar_t* path) {
  IMp4SequenceCreator* creator = MP4G::getCreator(engine.get());
  return creator != nullptr ? creator->RegisterMp4(path) : E_POINTER;
}

HRESULT CreatorImpl::registerMp4WithID(const wchar_t* path, _tagQVGUID head, _tagQVGUID tail) {
  IMp4SequenceCreator* creator = MP4G::getCreator(engine.get());
  RETURN_IF(creator == nullptr, E_POINTER);
  return creator->RegisterMp4WithID(path, MP4G::QVGUIDtoGUID(head), MP4G::QVGUIDtoGUID(tail));
}

void CreatorImpl::clearSequences() {
  if (IMp4SequenceCreator* creator = MP4G::getCreator(engine.get()); creator != nullptr)
    creator->ClearSequences();
}

std::uint32_t CreatorImpl::sequenceCount() {
  IMp4SequenceCreator* creator = MP4G::getCreator(engine.get());
  return creator != nullptr ? creator->GetSequenceCount() : 0;
}

std::uint32_t CreatorImpl::unclosedSequenceCount() {
  IMp4SequenceCreator* creator = MP4G::getCreator(engine.get());
  return creator != nullptr ? creator->GetUnclosedSequenceCount() : 0;
}

HRESULT CreatorImpl::salvationProcess() {
  IMp4SequenceCreator* creator = MP4G::getCreator(engine.get());
  return creator != nullptr ? creator->SalvationProcess() : E_POINTER;
}

void CreatorImpl::notifyNewVolume() {
  if (IMp4SequenceCreator* creator = MP4G::getCreator(engine.get()); creator != nullptr)
    creator->NotifyNewVolume();
}

std::uint32_t CreatorImpl::relaySequnceCount() {
  IMp4SequenceCreator* creator = MP4G::getCreator(engine.get());
  return creator != nullptr ? creator->GetRelaySequenceCount()
                            : static_cast<std::uint32_t>(E_POINTER);
}

HRESULT CreatorImpl::divideRelaySequenceExceptFirstOne() {
  IMp4SequenceCreator* creator = MP4G::getCreator(engine.get());
  return creator != nullptr ? creator->DivideRelaySequenceExceptFirstOne() : E_POINTER;
}

HRESULT CreatorImpl::sequenceTimedate(int index, _tagQVTimeDate* out) {
  RETURN_IF(out == nullptr, E_POINTER);
  return AskSequence(engine, index, E_POINTER, [out](IMp4Sequence& sequence) -> HRESULT {
    MP4G::_tagSequenceTimedate date{};
    RETURN_IF_NOT_OK(sequence.GetTimedate(&date));
    *out = {date.year, date.month, date.day, date.hour, date.minute, date.second};
    return S_OK;
  });
}

std::uint32_t CreatorImpl::sequenceFileCount(int index) {
  return AskSequence(engine, index, std::uint32_t{0},
                     [](IMp4Sequence& sequence) { return sequence.GetFileCount(); });
}

const wchar_t* CreatorImpl::sequenceFilePath(int index, int fileIndex, int& length) {
  const wchar_t* none = nullptr;
  return AskSequence(engine, index, none, [fileIndex, &length](IMp4Sequence& sequence) {
    const wchar_t* path = sequence.GetFilePathAtIndex(static_cast<unsigned int>(fileIndex));
    length = static_cast<int>(std::wcslen(path));
    return path;
  });
}

signed char CreatorImpl::sequenceIsUnclosed(int index) {
  return AskSequence(engine, index, static_cast<signed char>(0),
                     [](IMp4Sequence& sequence) { return sequence.IsUnclosedSequence(); });
}

signed char CreatorImpl::sequenceConsistsOfVireoStreams(int index) {
  return AskSequence(engine, index, static_cast<signed char>(0),
                     [](IMp4Sequence& sequence) { return sequence.ConsistsOfVireoStream(); });
}

signed char CreatorImpl::sequenceIsRelaySequence(int index) {
  return AskSequence(engine, index, static_cast<signed char>(0),
                     [](IMp4Sequence& sequence) { return sequence.IsRelaySequence(); });
}

_tagQVGUID CreatorImpl::sequenceHeadUniqueID(int index) {
  return AskSequence(engine, index, _tagQVGUID{}, [](IMp4Sequence& sequence) {
    return MP4G::GUIDtoQVGUID(sequence.GetHeadUniqueID());
  });
}

_tagQVGUID CreatorImpl::sequenceTailUniqueID(int index) {
  return AskSequence(engine, index, _tagQVGUID{}, [](IMp4Sequence& sequence) {
    return MP4G::GUIDtoQVGUID(sequence.GetTailUniqueID());
  });
}

QVMp4SequenceCreator::QVMp4SequenceCreator() = default;

QVMp4SequenceCreator::~QVMp4SequenceCreator() = default;

QVMp4SequenceCreator* QVMp4SequenceCreator::init() {
  return prepareEngine() == S_OK ? this : nullptr;
}

HRESULT QVMp4SequenceCreator::prepareEngine() {
  _pImpl = std::make_unique<CreatorImpl>();
  return _pImpl->initialize() == S_OK ? S_OK : kNoEngine;
}

HRESULT QVMp4SequenceCreator::registerMp4(const char* path) {
  return registerMp4WithID(path, _tagQVGUID{}, _tagQVGUID{});
}

HRESULT QVMp4SequenceCreator::registerMp4WithID(const char* path, _tagQVGUID headUniqueID,
                                                _tagQVGUID tailUniqueID) {
  RETURN_IF(_pImpl == nullptr, kNoEngine);
  HRESULT converted = S_OK;
  const QUIRVA::CMacChar widePath(path, converted);
  RETURN_IF_NOT_OK(converted);
  if (IsZero(headUniqueID) && IsZero(tailUniqueID)) return _pImpl->registerMp4(widePath);
  return _pImpl->registerMp4WithID(widePath, headUniqueID, tailUniqueID);
}

void QVMp4SequenceCreator::clearSequences() {
  if (_pImpl != nullptr) _pImpl->clearSequences();
}

std::uint32_t QVMp4SequenceCreator::sequenceCount() {
  return _pImpl != nullptr ? _pImpl->sequenceCount() : 0;
}

std::uint32_t QVMp4SequenceCreator::unclosedSequenceCount() {
  return _pImpl != nullptr ? _pImpl->unclosedSequenceCount() : 0;
}

HRESULT QVMp4SequenceCreator::salvationProcess() {
  return _pImpl != nullptr ? _pImpl->salvationProcess() : kNoEngine;
}

void QVMp4SequenceCreator::notifyNewVolume() {
  if (_pImpl != nullptr) _pImpl->notifyNewVolume();
}

std::uint32_t QVMp4SequenceCreator::relaySequnceCount() {
  return _pImpl != nullptr ? _pImpl->relaySequnceCount() : 0;
}

HRESULT QVMp4SequenceCreator::divideRelaySequenceExceptFirstOne() {
  return _pImpl != nullptr ? _pImpl->divideRelaySequenceExceptFirstOne() : S_OK;
}

_tagQVTimeDate QVMp4SequenceCreator::timedateOfSequenceAt(int index) {
  _tagQVTimeDate date{};
  // Whatever fails shows as no date.
  if (_pImpl != nullptr) static_cast<void>(_pImpl->sequenceTimedate(index, &date));
  return date;
}

std::uint32_t QVMp4SequenceCreator::filecountOfSequenceAt(int index) {
  return _pImpl != nullptr ? _pImpl->sequenceFileCount(index) : 0;
}

std::optional<std::string> QVMp4SequenceCreator::filepathOfSequenceAt(int index, int fileIndex) {
  if (_pImpl == nullptr) return std::nullopt;
  int length = 0;
  const wchar_t* path = _pImpl->sequenceFilePath(index, fileIndex, length);
  if (path == nullptr) return std::nullopt;
  return QUIRVA::PathBytesFromWide({path, static_cast<std::size_t>(length)});
}

signed char QVMp4SequenceCreator::sequenceIsUnclosed(int index) {
  return _pImpl != nullptr ? _pImpl->sequenceIsUnclosed(index) : static_cast<signed char>(0);
}

signed char QVMp4SequenceCreator::sequenceConsistsOfVireoStreams(int index) {
  return _pImpl != nullptr ? _pImpl->sequenceConsistsOfVireoStreams(index)
                           : static_cast<signed char>(0);
}

signed char QVMp4SequenceCreator::sequenceIsRelaySequence(int index) {
  return _pImpl != nullptr ? _pImpl->sequenceIsRelaySequence(index) : static_cast<signed char>(0);
}

_tagQVGUID QVMp4SequenceCreator::sequenceHeadUniqueID(int index) {
  return _pImpl != nullptr ? _pImpl->sequenceHeadUniqueID(index) : _tagQVGUID{};
}

_tagQVGUID QVMp4SequenceCreator::sequenceTailUniqueID(int index) {
  return _pImpl != nullptr ? _pImpl->sequenceTailUniqueID(index) : _tagQVGUID{};
}
