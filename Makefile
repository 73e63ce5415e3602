# Convenience wrappers around the scripts the README names.
.PHONY: demo test
demo:
	./scripts/demo.sh
test:
	./scripts/test.sh
