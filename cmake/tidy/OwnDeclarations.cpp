// A plugin of clang-tidy: the checks visit our own declarations alone. By itself every check visits
// all that a source includes, of which more than nine tenths are Qt's and the standard library's,
// and what it finds there is dropped. (clang's language server has the same checks go by the same
// means.)

#include <clang/AST/ASTConsumer.h>
#include <clang/AST/ASTContext.h>
#include <clang/AST/Decl.h>
#include <clang/Basic/SourceManager.h>
#include <clang/Frontend/CompilerInstance.h>
#include <clang/Frontend/FrontendAction.h>
#include <clang/Frontend/FrontendPluginRegistry.h>

#include <memory>
#include <string>
#include <vector>

namespace {

class OwnDeclarations : public clang::ASTConsumer
{
public:
    void HandleTranslationUnit(clang::ASTContext &context) override
    {
        const clang::SourceManager &sources = context.getSourceManager();
        std::vector<clang::Decl *> own;
        for (clang::Decl *declaration : context.getTranslationUnitDecl()->decls()) {
            const clang::SourceLocation place = sources.getExpansionLoc(declaration->getLocation());
            if (place.isValid() && !sources.isInSystemHeader(place))
                own.push_back(declaration);
        }
        context.setTraversalScope(own);
    }
};

class OwnDeclarationsAction : public clang::PluginASTAction
{
protected:
    std::unique_ptr<clang::ASTConsumer> CreateASTConsumer(clang::CompilerInstance & /*compiler*/,
                                                          llvm::StringRef /*file*/) override
    {
        return std::make_unique<OwnDeclarations>();
    }

    bool ParseArgs(const clang::CompilerInstance & /*compiler*/,
                   const std::vector<std::string> & /*arguments*/) override
    {
        return true;
    }

    ActionType getActionType() override { return AddBeforeMainAction; }
};

const clang::FrontendPluginRegistry::Add<OwnDeclarationsAction>
    registered("own-declarations", "has checks visit our own declarations alone");

} // namespace
